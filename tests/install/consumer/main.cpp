// An application built against the installed library only.
#include <vx_transfers/vx_transfers.h>

#include <string>

int main(int argc, char** argv) {
    if (argc != 2 || !vx_transfers::CVxTransfersInitializer::initialize()) {
        return 2;
    }
    const std::string folder = argv[1];
    vx_transfers::CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(
        std::wstring(folder.begin(), folder.end()));

    // Nothing listens on port 1 of the loopback, so the library logs the failed download.
    vx_transfers::IFileDownloader* downloader =
        vx_transfers::IFileDownloader::create("http://127.0.0.1:1/file", folder + "/file");
    if (downloader == nullptr) {
        return 3;
    }
    const int result = downloader->download();
    vx_transfers::IFileDownloader::destroy(downloader);
    return result == vx_transfers::IFileDownloader::RESULT_FAILED ? 0 : 4;
}
