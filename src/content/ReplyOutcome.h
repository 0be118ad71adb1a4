#pragma once

#include <QNetworkReply>

namespace velmora {

// How a finished reply ended, as the server's side saw it.
class ReplyOutcome {
public:
    // True when the whole answer arrived. An HTTP error status still delivered its body
    // (read as it came; status codes are not judged); a transport failure, also one after
    // the status line (reset, short body), or a cancel did not.
    static bool answeredInFull(const QNetworkReply *reply)
    {
        switch (reply->error()) {
        case QNetworkReply::NoError:
            return true;
        case QNetworkReply::ContentAccessDenied:
        case QNetworkReply::ContentOperationNotPermittedError:
        case QNetworkReply::ContentNotFoundError:
        case QNetworkReply::AuthenticationRequiredError:
        case QNetworkReply::ContentReSendError:
        case QNetworkReply::ContentConflictError:
        case QNetworkReply::ContentGoneError:
        case QNetworkReply::UnknownContentError:
        case QNetworkReply::ProtocolInvalidOperationError:
        case QNetworkReply::InternalServerError:
        case QNetworkReply::OperationNotImplementedError:
        case QNetworkReply::ServiceUnavailableError:
        case QNetworkReply::UnknownServerError:
            return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
        default:
            return false;
        }
    }
};

} // namespace velmora
