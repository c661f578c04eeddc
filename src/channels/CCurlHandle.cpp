#include "channels/CCurlHandle.h"

#include <curl/curl.h>

namespace vx_transfers {

CCurlHandle::CCurlHandle(void* handle) : m_handle(handle) {
    if (m_handle == nullptr) {
        m_handle = curl_easy_init();
    }
}

CCurlHandle::~CCurlHandle() {
    if (m_handle != nullptr) {
        curl_easy_cleanup(static_cast<CURL*>(m_handle));
        m_handle = nullptr;
    }
}

}  // namespace vx_transfers
