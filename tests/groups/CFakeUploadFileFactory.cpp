#include "CFakeUploadFileFactory.h"

#include <mutex>
#include <new>

#include "files/CUploadFileFactory.h"

namespace vx_transfers {

namespace {

std::mutex g_mutex;
CFakeUploadFileFactory::Script g_script;
std::vector<CFakeUploadFileFactory::Call> g_calls;
std::vector<std::shared_ptr<CFakeUploadFileFactory::Probe>> g_probes;

}  // namespace

void CFakeUploadFileFactory::reset() {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_script = Script();
    g_calls.clear();
    g_probes.clear();
}

void CFakeUploadFileFactory::setScript(Script script) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_script = std::move(script);
}

std::vector<CFakeUploadFileFactory::Call> CFakeUploadFileFactory::calls() {
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_calls;
}

std::vector<std::shared_ptr<CFakeUploadFileFactory::Probe>> CFakeUploadFileFactory::probes() {
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_probes;
}

IUploadFile* CFakeUploadFileFactory::make(const Call& call) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_calls.push_back(call);
    auto probe = std::make_shared<Probe>();
    probe->fileSize = call.fileSize;
    if (g_script && !g_script(call, *probe)) {
        return nullptr;
    }
    g_probes.push_back(probe);
    return new (std::nothrow) vxt_test::CFakeUploadFile(probe);
}

IUploadFile* CUploadFileFactory::create(unsigned long long minMultipartSize,
                                        unsigned long long fileSize) {
    CFakeUploadFileFactory::Call call;
    call.minMultipartSize = minMultipartSize;
    call.fileSize = fileSize;
    return CFakeUploadFileFactory::make(call);
}

IUploadFile* CUploadFileFactory::create(unsigned int channelCount) {
    CFakeUploadFileFactory::Call call;
    call.byChannelCount = true;
    call.channelCount = channelCount;
    return CFakeUploadFileFactory::make(call);
}

}  // namespace vx_transfers
