#pragma once

namespace vx_transfers {

// Owner of one libcurl easy handle: one per connection attempt, never reused.
class CCurlHandle {
public:
    // Keeps `handle`, or makes a fresh easy handle when it is null (which may fail: get() then
    // gives null).
    explicit CCurlHandle(void* handle);
    ~CCurlHandle();

    CCurlHandle(const CCurlHandle&) = delete;
    CCurlHandle& operator=(const CCurlHandle&) = delete;

    void* get() const { return m_handle; }
    operator void*() const { return m_handle; }

private:
    void* m_handle;
};

}  // namespace vx_transfers
