// Fetching a file from the web (http, https, ftp) through libcurl.
#pragma once

#include <string>

// Downloads `url` into `path` through a temporary file beside it that is renamed over `path`
// only when the whole transfer succeeded (a server error counts as a failure). Gives up after
// `timeout_s` seconds. False, with nothing left behind, on any failure.
bool DownloadToFile(const std::string &url, const std::string &path, long timeout_s = 600);
