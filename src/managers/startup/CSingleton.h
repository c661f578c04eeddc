#pragma once

#include <Poco/Mutex.h>

#include <memory>
#include <new>

namespace vx_transfers {

// Process-wide instance of T, made on first use with non-throwing allocation.
// getInstance() is safe from any thread and gives null if the allocation failed.
template <typename T>
class CSingleton {
public:
    static T* getInstance() {
        Poco::FastMutex::ScopedLock lock(m_mtx);
        if (!m_instance) {
            m_instance.reset(new (std::nothrow) T());
        }
        return m_instance.get();
    }

private:
    static Poco::FastMutex m_mtx;
    static std::unique_ptr<T> m_instance;
};

template <typename T>
Poco::FastMutex CSingleton<T>::m_mtx;
template <typename T>
std::unique_ptr<T> CSingleton<T>::m_instance;

}  // namespace vx_transfers
