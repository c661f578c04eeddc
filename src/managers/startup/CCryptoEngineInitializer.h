#pragma once

#include <memory>

namespace vx_transfers {

class ICryptoInitializer;

// The platform's crypto threading set-up, made once and undone at process exit. Reached
// through CSingleton<CCryptoEngineInitializer>; CVxTransfersInitializer::initialize() runs it.
class CCryptoEngineInitializer {
public:
    CCryptoEngineInitializer();
    // Undoes the set-up, then deletes the platform object.
    ~CCryptoEngineInitializer();

    // Does nothing when the platform could not provide its initializer.
    void initialize();

    CCryptoEngineInitializer(const CCryptoEngineInitializer&) = delete;
    CCryptoEngineInitializer& operator=(const CCryptoEngineInitializer&) = delete;

private:
    std::unique_ptr<ICryptoInitializer> m_cryptoInitializer;
};

}  // namespace vx_transfers
