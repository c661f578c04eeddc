#pragma once

#include <string>

#include "vx_transfers/CUploadManager.h"
#include "vx_transfers/dt_error.h"
#include "vx_transfers/export.h"

namespace vx_transfers {

// A small client for making a bucket by itself: log in, create a bucket, announce a file and
// get what CUploadManager::queueFiles needs for a single-part upload. The transfer machinery
// does not need it: groups are created from a bucket id and token the application already
// holds. Each operation is one or two blocking REST calls to the configured end-point, with no
// retries. Not thread-safe: a CBucket belongs to the thread that uses it.
class VX_TRANSFERS_API CBucket {
public:
    struct UserCredentials {
        std::string userId;
        std::string password;
    };

    // What init() gives; an empty bucketId means that it failed.
    struct BucketInfo {
        std::string token;  // the bucket token
        std::string bucketId;
        unsigned long long tokenExpires = 0;
        std::string authToken;  // the user's token from the login
        unsigned long long authTokenExpires = 0;
    };

    // Keeps the strings; no network.
    CBucket(UserCredentials& credentials, std::string& label);

    // Logs in and keeps the user's token. DT_SUCCESS or the failure of the call.
    dt_error login();

    // Logs in and creates a bucket; the result is empty when either failed.
    BucketInfo init();

    // Announces the local file (a file URL or a path) to the bucket made by init(). The result
    // is ready for queueFiles; its fileUid is empty when the service refused or did not
    // answer. Throws when the file cannot be read for its size.
    CUploadManager::FileDesc addFile(std::wstring fileUrl);

private:
    std::string m_token;
    std::string m_bucketId;
    std::string m_label;  // kept for the application; no operation reads it
    std::string m_userId;
    std::string m_password;
    std::string m_authToken;
    unsigned long long m_authTokenExpires = 0;
};

}  // namespace vx_transfers
