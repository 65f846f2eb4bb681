// Fetching a file from the web through libcurl, written atomically.
#include "core/download.h"

#include <curl/curl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

size_t WriteToFile(char *data, size_t size, size_t n, void *f) {
  return std::fwrite(data, size, n, static_cast<FILE *>(f));
}

}  // namespace

bool DownloadToFile(const std::string &url, const std::string &path, long timeout_s) {
  if (url.empty() || path.empty()) return false;
  std::string temp = path + ".partXXXXXX";
  const int fd = mkstemp(temp.data());
  if (fd < 0) return false;
  FILE *f = fdopen(fd, "wb");
  if (!f) {
    close(fd);
    std::remove(temp.c_str());
    return false;
  }
  bool ok = false;
  if (CURL *curl = curl_easy_init()) {
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, WriteToFile);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, f);
    curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, timeout_s < 20 ? timeout_s : 20L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, timeout_s);
    ok = curl_easy_perform(curl) == CURLE_OK;
    curl_easy_cleanup(curl);
  }
  ok = std::fclose(f) == 0 && ok;
  if (ok) ok = std::rename(temp.c_str(), path.c_str()) == 0;
  if (!ok) std::remove(temp.c_str());
  return ok;
}
