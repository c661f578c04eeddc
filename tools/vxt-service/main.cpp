// vxt-service: the local web service as a program, for the demo, benchmarks and scripts.
//   vxt-service --host 127.0.0.1 --port 8080 --data-dir DIR [--user U --password P] [--tls]
//               [--prefix /vx] [--url-lifetime SECONDS]
//               [--data-plane-url URL --data-plane-dir DIR]
// With a data plane, upload and download URLs point at URL (an external server that stores PUT
// bodies under DIR) while the REST and control routes stay on the service.
// Prints its REST base URL on one line once it serves requests; stops on SIGINT or SIGTERM.
#include <signal.h>

#include <cstdlib>
#include <iostream>
#include <string>

#include "vxt-service/CService.h"

namespace {

void usage() {
    std::cerr << "usage: vxt-service [--host H] [--port N] [--data-dir DIR] [--user U]"
                 " [--password P] [--tls] [--prefix /PATH] [--url-lifetime SECONDS]"
                 " [--data-plane-url URL --data-plane-dir DIR]\n";
}

bool parseArguments(int argc, char** argv, vxt_service::ServiceConfig& config) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto value = [&](std::string& out) {
            if (i + 1 >= argc) return false;
            out = argv[++i];
            return true;
        };
        std::string text;
        if (arg == "--tls") {
            config.tls = true;
        } else if (arg == "--host") {
            if (!value(config.host)) return false;
        } else if (arg == "--data-dir") {
            if (!value(config.dataDir)) return false;
        } else if (arg == "--user") {
            if (!value(config.user)) return false;
        } else if (arg == "--password") {
            if (!value(config.password)) return false;
        } else if (arg == "--prefix") {
            if (!value(config.pathPrefix)) return false;
        } else if (arg == "--data-plane-url") {
            if (!value(config.dataPlaneUrl) || config.dataPlaneUrl.empty()) return false;
        } else if (arg == "--data-plane-dir") {
            if (!value(config.dataPlaneDir) || config.dataPlaneDir.empty()) return false;
        } else if (arg == "--port" || arg == "--url-lifetime") {
            if (!value(text) || text.empty() ||
                text.find_first_not_of("0123456789") != std::string::npos || text.size() > 9) {
                return false;
            }
            unsigned long number = std::stoul(text);
            if (arg == "--port") {
                if (number > 65535) return false;
                config.port = static_cast<unsigned short>(number);
            } else {
                config.dataUrlLifetimeSeconds = static_cast<unsigned int>(number);
            }
        } else {
            return false;
        }
    }
    return config.dataPlaneUrl.empty() == config.dataPlaneDir.empty();
}

}  // namespace

int main(int argc, char** argv) {
    vxt_service::ServiceConfig config;
    if (!parseArguments(argc, argv, config)) {
        usage();
        return 2;
    }
    // Block the stop signals in every thread; the main thread takes them with sigwait.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    try {
        vxt_service::CService service(config);
        service.start();
        std::cout << service.baseUrl() << std::endl;
        int received = 0;
        sigwait(&signals, &received);
        service.stop();
    } catch (const std::exception& e) {
        std::cerr << "vxt-service: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
