#include "vx_transfers/CBucket.h"

#include <Poco/File.h>
#include <Poco/Path.h>

#include "platform/porting/FileUrlToFilePath.h"
#include "platform/porting/string_convert.h"
#include "rest/CRestApiBucketAddFiles.h"
#include "rest/CRestApiBucketInit.h"
#include "rest/CRestApiLogin.h"

namespace vx_transfers {

CBucket::CBucket(UserCredentials& credentials, std::string& label)
    : m_label(label), m_userId(credentials.userId), m_password(credentials.password) {}

dt_error CBucket::login() {
    CRestApiLogin call;
    CRestApiLogin::RequestDetails details;
    details.userId = m_userId;
    details.password = m_password;
    dt_error result = call.sendRequest(details);
    if (result != DT_SUCCESS) {
        return result;
    }
    CRestApiLogin::ResponseDetails response;
    result = call.receiveResponse(response);
    if (result != DT_SUCCESS) {
        return result;
    }
    m_authToken = response.token;
    m_authTokenExpires = response.tokenExpires;
    return DT_SUCCESS;
}

CBucket::BucketInfo CBucket::init() {
    BucketInfo info;
    if (login() != DT_SUCCESS) {
        return info;
    }
    CRestApiBucketInit call;
    CRestApiAuthBase::RequestDetails details;
    details.authToken = m_authToken;
    details.authTokenExpires = m_authTokenExpires;
    CRestApiBucketInit::Response response;
    if (call.sendRequest(details) != DT_SUCCESS || call.receiveResponse(response) != DT_SUCCESS) {
        return info;
    }
    info.token = response.token;
    info.bucketId = response.bucketId;
    info.tokenExpires = response.tokenExpires;
    info.authToken = m_authToken;
    info.authTokenExpires = m_authTokenExpires;
    m_token = response.token;
    m_bucketId = response.bucketId;
    return info;
}

CUploadManager::FileDesc CBucket::addFile(std::wstring fileUrl) {
    CUploadManager::FileDesc result;
    CRestApiBucketAddFiles call;
    std::wstring widePath;
    FileUrlToFilePath(fileUrl, widePath);
    std::string path;
    string_convert::WStringToString(widePath, path);

    CRestApiBucketAddFiles::RequestDetails details;
    details.bucketId = m_bucketId;
    details.token = m_token;
    details.authToken = m_authToken;
    details.authTokenExpires = m_authTokenExpires;
    CRestApiBucketAddFiles::RequestDetails::FileSpec entry;
    entry.name = Poco::Path(path).getFileName();
    entry.size = Poco::File(path).getSize();
    details.files.push_back(entry);

    CRestApiBucketAddFiles::Response response;
    if (call.sendRequest(details) != DT_SUCCESS || call.receiveResponse(response) != DT_SUCCESS ||
        response.files.empty()) {
        return result;
    }
    const CRestApiBucketAddFiles::Response::FileSpec& first = response.files.front();
    result.fileUrl = fileUrl;
    result.fileUid = first.fileId;
    result.url = first.url;
    result.additionalHttpHeaders = first.headers;
    return result;
}

}  // namespace vx_transfers
