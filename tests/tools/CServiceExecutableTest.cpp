// The vxt-service program as scripts start it: it prints its base URL once ready, serves the
// control and REST routes, and ends cleanly on SIGTERM.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>

#include "support/CJsonHttpClient.h"
#include "support/CServiceControlClient.h"
#include "support/reapChild.h"

namespace vxt_test {
namespace {

TEST(CServiceExecutableTest, PrintsItsUrlServesAndStopsOnSigterm) {
    std::string dir = std::filesystem::temp_directory_path().string() + "/vxt-exe-XXXXXX";
    ASSERT_NE(::mkdtemp(&dir[0]), nullptr);
    int out[2];
    ASSERT_EQ(::pipe(out), 0);
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        ::dup2(out[1], 1);
        ::close(out[0]);
        ::execl(VXT_SERVICE_EXE, VXT_SERVICE_EXE, "--host", "127.0.0.1", "--port", "0",
                "--data-dir", dir.c_str(), "--user", "u", "--password", "p", "--prefix", "/gw",
                static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::close(out[1]);
    FILE* stream = ::fdopen(out[0], "r");
    char line[256] = {0};
    // The program writes its line when it is ready; a read that fails means it died first.
    pollfd ready{out[0], POLLIN, 0};
    if (::poll(&ready, 1, 10000) != 1 || ::fgets(line, sizeof line, stream) == nullptr) {
        ::kill(pid, SIGKILL);
        reapChild(pid, std::chrono::seconds(5));
        FAIL() << "vxt-service printed no URL";
    }
    std::string baseUrl(line);
    while (!baseUrl.empty() && baseUrl.back() == '\n') baseUrl.pop_back();
    ASSERT_EQ(baseUrl.substr(0, 17), "http://127.0.0.1:");
    ASSERT_EQ(baseUrl.substr(baseUrl.size() - 3), "/gw");
    const std::string root = baseUrl.substr(0, baseUrl.size() - 3);

    CJsonHttpClient http(root);
    EXPECT_EQ(http.send("POST", "/gw/login", R"({"userId":"u","password":"p"})").status, 200);
    CServiceControlClient control(root);
    auto bucket = control.createBucket("fixed-bucket", "fixed-token");
    CServiceControlClient::SeedFile seed;
    seed.size = 3 * 1024 * 1024;
    seed.seed = 7;
    auto file = control.seedFile(bucket.bucketId, seed);
    EXPECT_EQ(file.storedSize, seed.size);
    EXPECT_EQ(file.md5.size(), 32u);
    EXPECT_EQ(file.storagePath.rfind(dir, 0), 0u) << "stored under --data-dir";
    EXPECT_EQ(control.waitForRoute(routes::kLogin, std::chrono::seconds(5)).status, 200);

    ASSERT_EQ(::kill(pid, SIGTERM), 0);
    int status = reapChild(pid, std::chrono::seconds(10));
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    ::fclose(stream);
    std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace vxt_test
