#pragma once

#include <QByteArray>
#include <QSslCertificate>
#include <QSslKey>
#include <QString>
#include <QStringList>
#include <QTcpServer>
#include <QUrl>

class QSslSocket;

/*
 * A local HTTPS service with a self-signed certificate, made at start with
 * openssl's command-line tool. Every request gets 200 and a short body; a
 * connection stays open for the requests that follow, as a real service's
 * does, and the responder counts both the connections it encrypted and the
 * requests it answered.
 */
class HttpsResponder : public QTcpServer
{
public:
    static constexpr const char *Body = "tls-answer";

    //! openssl's command-line tool, or an empty text when it is not installed.
    static QString openssl();

    //! Makes a key and a certificate for 127.0.0.1 in \a folder and listens there; false with a warning otherwise.
    bool start(const QString &folder);

    QUrl url(const QString &path) const;
    int encryptedConnections() const;
    int answeredRequests() const;
    //! The application protocols that the connections agreed on by ALPN, in order ("" for none).
    QStringList negotiatedProtocols() const;

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    void answerWaitingRequests(QSslSocket *socket, QByteArray &pending);

    QSslCertificate m_certificate;
    QSslKey m_key;
    int m_encryptedConnections = 0;
    int m_answeredRequests = 0;
    QStringList m_negotiatedProtocols;
};
