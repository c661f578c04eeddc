// Ctrl-C and SIGTERM as a flag that the main loop polls: the first signal asks for a clean
// stop (the manager shuts down and keeps its progress for --resume); a second one ends the
// process the default way, in case the clean stop hangs.
#ifndef VXT_CINTERRUPTFLAG_H
#define VXT_CINTERRUPTFLAG_H

namespace vxt {

class CInterruptFlag {
public:
    static void install();
    static bool raised();
};

}  // namespace vxt

#endif
