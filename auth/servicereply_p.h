#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QNetworkReply>
#include <QString>

namespace NimblaSDK {

/*
 * A finished reply of the login service, read once: what it amounts to and
 * the words the failure channels may use about it.
 *
 * The network error is looked at first. An answer that broke off mid-body,
 * timed out or was refused is a network failure whatever its first bytes look
 * like, so no session can read a cut body as the service's JSON; a body
 * shorter than its Content-Length is such a cut even when Qt did not say so.
 *
 * \code
 * const ServiceReply answer(reply);
 * switch (answer.outcome()) {
 * case ServiceReply::Answered:     use(answer.body()); break;
 * case ServiceReply::Unauthorized: _reportFailure(Unauthorized, answer); break;
 * case ServiceReply::Refused:      _reportFailure(Refused, answer); break;
 * case ServiceReply::NetworkError: _reportFailure(NetworkFailure, answer); break;
 * }
 * \endcode
 */
class ServiceReply
{
public:
    enum Outcome {
        Answered,      //!< no network error; the body may still hold the service's "error"
        Unauthorized,  //!< the service answered 401
        Refused,       //!< a network error, and the body explains it with the service's "error"
        NetworkError,  //!< a network error the service did not explain: no answer, a cut or a failed status
    };

    explicit ServiceReply(QNetworkReply *reply);

    Outcome outcome() const { return m_outcome; }
    bool failed() const { return m_outcome != Answered; }
    int httpStatus() const { return m_httpStatus; }

    //! A failure that says nothing of the request: the service was not reached, cut its answer or
    //! failed itself (5xx), and the same request may succeed later.
    bool transient() const;
    QNetworkReply::NetworkError networkError() const { return m_networkError; }
    QString errorString() const { return m_errorString; }

    QByteArray body() const { return m_body; }
    //! The body as a JSON object; empty when it is not one.
    QJsonObject answer() const { return m_answer; }
    //! Whether the answer holds the service's "error".
    bool hasServiceError() const;
    //! The service's own words about a failure: by default the login service's {"error": {"description": ...}},
    //! or a standard OAuth2 body's "error_description", or its "error" code when it has none.
    QString serviceDescription() const { return m_serviceDescription; }

protected:
    //! For the replies of a service that explains its failures in another shape.
    void setServiceDescription(const QString &description) { m_serviceDescription = description; }

private:
    Outcome m_outcome;
    int m_httpStatus;
    QNetworkReply::NetworkError m_networkError;
    QString m_errorString;
    QByteArray m_body;
    QJsonObject m_answer;
    QString m_serviceDescription;
};

} // namespace NimblaSDK
