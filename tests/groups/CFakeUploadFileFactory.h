#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "support/CFakeUploadFile.h"

namespace vx_transfers {

// This test binary's CUploadFileFactory (CFakeUploadFileFactory.cpp defines the factory's two
// operations, so the real one is not linked in): every file that a group makes is a
// CFakeUploadFile, scripted by the test.
class CFakeUploadFileFactory {
public:
    struct Call {
        bool byChannelCount = false;
        unsigned long long minMultipartSize = 0;
        unsigned long long fileSize = 0;
        unsigned int channelCount = 0;
    };
    using Probe = vxt_test::CFakeUploadFile::Probe;
    // Scripts the probe of the next file; return false to make the factory fail (null).
    using Script = std::function<bool(const Call&, Probe&)>;

    // Back to the default: every file is made, with the size that the group asked for.
    static void reset();
    static void setScript(Script script);
    static std::vector<Call> calls();
    // The probes of the files made so far, in order.
    static std::vector<std::shared_ptr<Probe>> probes();

    static IUploadFile* make(const Call& call);
};

}  // namespace vx_transfers
