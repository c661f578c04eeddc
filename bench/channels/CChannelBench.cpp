// Upload channels sending ranges of one local file, as the library runs them: one buffer
// manager shared by the channels, buffer sizes following the measured speed.
//
//   vx_bench_channels --url <base> --file <path> --work <dir> [--channels N] [--limit B/s]
//                     [--seconds T] [--buffer bytes]
//
// Channel i of N sends the i-th of N equal ranges to <base>-<i> (to <base> when N is 1). With
// --seconds the channels are stopped after T seconds and the bytes of every second are printed.
// Prints "bytes=<n> seconds=<t> mib_per_s=<r>"; the exit status is 0 when every channel ended
// as asked.
#include <Poco/File.h>
#include <Poco/SharedPtr.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "CBenchFile.h"
#include "channels/CUploadChannel.h"
#include "db/CDatabaseTestAccess.h"
#include "managers/startup/CCurlInitializer.h"
#include "managers/startup/CSingleton.h"
#include "memory/CBufferManagerFactory.h"
#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

using namespace vx_transfers;

namespace {

struct Options {
    std::string url;
    std::string file;
    std::string work;
    int channels = 1;
    unsigned int limit = 0;
    double seconds = 0;
    unsigned long long buffer = 0;
};

bool parse(int argc, char** argv, Options& options) {
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string name = argv[i], value = argv[i + 1];
        if (name == "--url") {
            options.url = value;
        } else if (name == "--file") {
            options.file = value;
        } else if (name == "--work") {
            options.work = value;
        } else if (name == "--channels") {
            options.channels = std::atoi(value.c_str());
        } else if (name == "--limit") {
            options.limit = static_cast<unsigned int>(std::strtoul(value.c_str(), nullptr, 10));
        } else if (name == "--seconds") {
            options.seconds = std::atof(value.c_str());
        } else if (name == "--buffer") {
            options.buffer = std::strtoull(value.c_str(), nullptr, 10);
        } else {
            return false;
        }
    }
    return !options.url.empty() && !options.file.empty() && !options.work.empty() &&
           options.channels > 0;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        std::cerr << "usage: vx_bench_channels --url <base> --file <path> --work <dir> "
                     "[--channels N] [--limit B/s] [--seconds T] [--buffer bytes]\n";
        return 2;
    }
    std::wstring work, path;
    string_convert::StringToWstring(options.work, work);
    string_convert::StringToWstring(options.file, path);
    CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(work);
    CVxTransfersGlobalConfig::getInstance()->setUserAgent("vx_bench_channels/1.0");
    if (!CSingleton<CCurlInitializer>::getInstance()->initialize()) {
        std::cerr << "libcurl could not be initialised\n";
        return 1;
    }

    const unsigned long long size = Poco::File(options.file).getSize();
    Poco::SharedPtr<ITransferBufferManager> manager(
        CBufferManagerFactory::createBufferManager(options.buffer));
    manager->allocateMemoryPool();
    CBenchFile file(manager, size);

    std::vector<std::unique_ptr<CUploadChannel>> channels;
    const unsigned long long part = size / options.channels;
    for (int i = 0; i < options.channels; ++i) {
        const unsigned long long offset = part * i;
        const unsigned long long length = i + 1 == options.channels ? size - offset : part;
        const std::string url =
            options.channels == 1 ? options.url : options.url + "-" + std::to_string(i);
        channels.push_back(std::make_unique<CUploadChannel>(
            url, path, offset, length, CUploadChannel::HeaderList(), &file, i, manager, false));
        channels.back()->setMaxRetries(1);
        channels.back()->setMaxTransferSpeed(options.limit);
        file.attach(*channels.back());
    }

    const auto begin = std::chrono::steady_clock::now();
    for (auto& channel : channels) channel->start();
    bool ended = false;
    long long bytes = 0;
    if (options.seconds > 0) {
        // Bytes of each second, read from the file's sum: a benchmark may sleep.
        long long last = 0;
        for (int second = 1; second <= static_cast<int>(options.seconds); ++second) {
            std::this_thread::sleep_until(begin + std::chrono::seconds(second));
            const long long now = file.bytes();
            std::printf("second %2d: %10lld bytes\n", second, now - last);
            last = now;
        }
        // Stopping takes the progress back: count before.
        bytes = file.bytes();
        for (auto& channel : channels) channel->stop();
        ended = true;
    } else {
        ended = file.waitForEnds(options.channels, 3600) && file.completed() == options.channels;
        bytes = file.bytes();
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    for (auto& channel : channels) {
        channel->stop();
        file.detach(*channel);
    }
    std::printf("bytes=%lld seconds=%.3f mib_per_s=%.1f\n", bytes, seconds,
                static_cast<double>(bytes) / 1048576.0 / seconds);
    channels.clear();
    CDatabaseTestAccess::close();
    return ended ? 0 : 1;
}
