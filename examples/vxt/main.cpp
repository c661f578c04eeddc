// vxt: uploads files and folders to the service with vx_transfers.
//
//   vxt upload --endpoint URL --user U --password P [--concurrency N] [--multipart-size BYTES]
//              [--limit BYTES_PER_S] [--verify] [--app-dir DIR] [--manifest FILE] PATH...
//   vxt upload --resume --app-dir DIR
//
// Exit status: 0 when every bucket completed, 1 when one failed, 2 for a usage error, 130 when
// interrupted (the transfers continue with --resume).
#include <CLI/CLI.hpp>
#include <cstdlib>
#include <string>

#include "CUploadCommand.h"

namespace {

std::string defaultAppDir() {
    const char* data = std::getenv("XDG_DATA_HOME");
    if (data != nullptr && *data != '\0') return std::string(data) + "/vxt";
    const char* home = std::getenv("HOME");
    if (home != nullptr && *home != '\0') return std::string(home) + "/.local/share/vxt";
    return ".vxt";
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"vxt: upload files to the service with vx_transfers"};
    app.require_subcommand(1);
    vxt::UploadOptions options;
    options.appDir = defaultAppDir();

    CLI::App* upload = app.add_subcommand("upload", "upload files and folders into a new bucket");
    upload->add_option("--endpoint", options.endpoint, "REST end-point of the service");
    upload->add_option("--user", options.user, "user id for the login");
    upload->add_option("--password", options.password, "password for the login");
    upload
        ->add_option("--concurrency", options.concurrency,
                     "parts moving at once (default: the library's, 2)")
        ->check(CLI::Range(1u, 64u));
    upload
        ->add_option("--multipart-size", options.multipartSize,
                     "files from this size on go in parts (default: 50 MiB)")
        ->check(CLI::PositiveNumber);
    upload->add_option("--limit", options.limit, "speed limit in bytes per second (0: none)");
    upload->add_flag("--verify", options.verify, "have the service verify each upload");
    upload
        ->add_option("--app-dir", options.appDir,
                     "folder of the transfer database, log and manifests")
        ->capture_default_str();
    upload->add_option("--manifest", options.manifestCopy, "also write the manifest here");
    upload->add_flag("--resume", options.resume,
                     "continue the transfers that the database in --app-dir holds");
    upload->add_option("PATH", options.paths, "files and folders to upload");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        // --help ends here with 0; every other parse error is a usage error.
        return app.exit(e) == 0 ? 0 : vxt::CUploadCommand::kUsage;
    }
    if (options.resume && !options.paths.empty()) {
        std::cerr << "vxt upload: --resume takes no PATH\n";
        return vxt::CUploadCommand::kUsage;
    }
    if (!options.resume && options.password.empty()) {
        std::cerr << "vxt upload: give --password\n";
        return vxt::CUploadCommand::kUsage;
    }
    return vxt::CUploadCommand(options).run();
}
