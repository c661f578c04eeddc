#pragma once

namespace vx_transfers {

// Process-wide set-up of the crypto library's threading, made once by the library's start-up.
// The caller owns the object from create().
class ICryptoInitializer {
public:
    virtual ~ICryptoInitializer() = default;

    // Called once, before the first connection.
    virtual void initialize() = 0;
    // Called at process exit, before the object is deleted.
    virtual void uninitialize() = 0;

    // A new object, or null if it cannot be made.
    static ICryptoInitializer* create();
};

}  // namespace vx_transfers
