#include "rest/CPocoHttpSessionCreator.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/URI.h>

#include "platform/Log.h"
#include "rest/CRestApiCallBase.h"

namespace vx_transfers {

Poco::Net::HTTPClientSession* CPocoHttpSessionCreator::createSession(std::string& url) {
    try {
        Poco::URI uri(url);
        return CRestApiCallBase::createSession(uri);
    } catch (const Poco::SyntaxException& e) {
        VXT_LOG_ERROR("Exception parsing url: " << e.what());
    }
    return nullptr;
}

}  // namespace vx_transfers
