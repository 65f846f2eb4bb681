// Member scripts: a script missing beside the macros is fetched from the member folder named in
// the settings, kept as a ".lvs" cache and used from there afterwards. The folder is served by
// a small HTTP server on 127.0.0.1 that the test runs and that stops by itself.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <thread>

#include "core/vemo.h"
#include "macrotest.h"
#include "support/wavfile.h"

using macrotest::RunText;

namespace {

// Answers GET requests from a fixed table of paths for at most ten seconds.
class tiny_server {
 public:
  explicit tiny_server(std::map<std::string, std::string> files) : files_(std::move(files)) {
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    if (fd_ < 0 || bind(fd_, reinterpret_cast<sockaddr *>(&a), len) != 0 || listen(fd_, 8) != 0 ||
        getsockname(fd_, reinterpret_cast<sockaddr *>(&a), &len) != 0)
      return;
    port_ = ntohs(a.sin_port);
    thread_ = std::thread([this] { Serve(); });
  }
  ~tiny_server() { Stop(); }
  void Stop() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }
  int port() const { return port_; }
  int requests() const { return requests_; }

 private:
  void Serve() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!stop_ && std::chrono::steady_clock::now() < end) {
      pollfd p{fd_, POLLIN, 0};
      if (poll(&p, 1, 50) <= 0) continue;
      const int c = accept(fd_, nullptr, nullptr);
      if (c < 0) continue;
      char request[2048] = "";
      const ssize_t n = recv(c, request, sizeof request - 1, 0);
      std::string path;
      if (n > 4 && std::strncmp(request, "GET ", 4) == 0)
        path = std::string(request + 4, std::strcspn(request + 4, " \r\n"));
      ++requests_;
      const auto it = files_.find(path);
      const std::string body = it == files_.end() ? "not here" : it->second;
      const std::string reply =
          std::string(it == files_.end() ? "HTTP/1.0 404 Not Found" : "HTTP/1.0 200 OK") +
          "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
      if (send(c, reply.data(), reply.size(), MSG_NOSIGNAL) < 0) {
      }
      close(c);
    }
  }
  std::map<std::string, std::string> files_;
  int fd_ = -1;
  int port_ = 0;
  std::atomic<bool> stop_{false};
  std::atomic<int> requests_{0};
  std::thread thread_;
};

bool Exists(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

TEST(MacroMemberScripts, FetchedOnceThenTakenFromTheCache) {
  UIItem root;
  fixtures::temp_dir config, app;
  const char *old = std::getenv("XDG_CONFIG_HOME");
  const std::string oldconfig = old ? old : "";
  setenv("XDG_CONFIG_HOME", config.path().c_str(), 1);
  const std::string oldapp = vemo::AppDir();
  vemo::SetAppDir((app.path() + "/").c_str());

  tiny_server server({{"/members/double.lvm", "<lvs>\n x = arg1 ; x *= 2 ; return x"},
                      {"/members/plain.lvm", "<lvm> return not-a-member-script"}});
  ASSERT_GT(server.port(), 0);
  ASSERT_TRUE(
      vemo::SetDatasetValue("Internet", "MemberScripts",
                            ("http://127.0.0.1:" + std::to_string(server.port()) + "/members").c_str()));
  EXPECT_EQ(RunText(&root, "r = call double.lvm 21 ; return r").value, "42.000000");
  EXPECT_EQ(macrotest::ReadText(app.file("double.lvs")), "<lvs>\n x = arg1 ; x *= 2 ; return x");
  // Not found, or no member script: a failure that leaves nothing behind.
  macrotest::ExpectFailure(&root, "call absent.lvm", "Unable to load macro file \"absent.lvm\".");
  EXPECT_FALSE(RunText(&root, "call plain.lvm").ok);
  for (const char *left : {"absent.lvm", "absent.lvs", "plain.lvm", "plain.lvs"})
    EXPECT_FALSE(Exists(app.file(left))) << left;
  const int asked = server.requests();
  EXPECT_EQ(asked, 3);
  server.Stop();

  // Without the server the cache serves.
  std::remove(app.file("double.lvm").c_str());
  EXPECT_EQ(RunText(&root, "r = call double.lvm 4 ; return r").value, "8.000000");

  vemo::SetAppDir(oldapp.c_str());
  if (old)
    setenv("XDG_CONFIG_HOME", oldconfig.c_str(), 1);
  else
    unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
