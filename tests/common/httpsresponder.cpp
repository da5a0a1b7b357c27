#include "httpsresponder.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QStandardPaths>

#include <memory>

namespace {

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The length of the body announced in \a head, or 0.
int contentLength(const QByteArray &head)
{
    for (const QByteArray &line : head.split('\n')) {
        const int colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed().toLower() == "content-length")
            return line.mid(colon + 1).trimmed().toInt();
    }
    return 0;
}

} // namespace

QString HttpsResponder::openssl()
{
    return QStandardPaths::findExecutable(QStringLiteral("openssl"));
}

bool HttpsResponder::start(const QString &folder)
{
    const QDir dir(folder);
    const QString keyPath = dir.filePath(QStringLiteral("responder-key.pem"));
    const QString certificatePath = dir.filePath(QStringLiteral("responder-cert.pem"));
    // An elliptic-curve key: made in milliseconds, where RSA takes a while under the sanitizers.
    QProcess tool;
    tool.start(openssl(), {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                           "-keyout", keyPath, "-out", certificatePath, "-days", "2", "-subj", "/CN=127.0.0.1",
                           "-addext", "subjectAltName=IP:127.0.0.1"});
    if (!tool.waitForFinished(30000) || tool.exitStatus() != QProcess::NormalExit || tool.exitCode() != 0) {
        qWarning().noquote() << "openssl could not make the test certificate:" << tool.readAllStandardError();
        return false;
    }
    m_key = QSslKey(readFile(keyPath), QSsl::Ec);
    m_certificate = QSslCertificate(readFile(certificatePath));
    if (m_key.isNull() || m_certificate.isNull()) {
        qWarning() << "The test certificate made by openssl cannot be read";
        return false;
    }
    return listen(QHostAddress::LocalHost);
}

QUrl HttpsResponder::url(const QString &path) const
{
    return QUrl(QStringLiteral("https://127.0.0.1:%1%2").arg(serverPort()).arg(path));
}

int HttpsResponder::encryptedConnections() const
{
    return m_encryptedConnections;
}

int HttpsResponder::answeredRequests() const
{
    return m_answeredRequests;
}

QStringList HttpsResponder::negotiatedProtocols() const
{
    return m_negotiatedProtocols;
}

void HttpsResponder::incomingConnection(qintptr descriptor)
{
    auto *socket = new QSslSocket(this);
    if (!socket->setSocketDescriptor(descriptor)) {
        delete socket;
        return;
    }
    auto pending = std::make_shared<QByteArray>();
    connect(socket, &QSslSocket::encrypted, this, [this, socket] {
        ++m_encryptedConnections;
        m_negotiatedProtocols << QString::fromLatin1(socket->sslConfiguration().nextNegotiatedProtocol());
    });
    connect(socket, &QSslSocket::readyRead, this, [this, socket, pending] {
        pending->append(socket->readAll());
        answerWaitingRequests(socket, *pending);
    });
    // A client that refuses the certificate ends the handshake; the socket goes with it.
    connect(socket, &QSslSocket::disconnected, socket, &QObject::deleteLater);
    // Offered the way a real service offers it; the responder itself speaks HTTP/1.1 only.
    QSslConfiguration configuration = socket->sslConfiguration();
    configuration.setAllowedNextProtocols({QSslConfiguration::ALPNProtocolHTTP2, QSslConfiguration::NextProtocolHttp1_1});
    socket->setSslConfiguration(configuration);
    socket->setLocalCertificate(m_certificate);
    socket->setPrivateKey(m_key);
    socket->startServerEncryption();
}

void HttpsResponder::answerWaitingRequests(QSslSocket *socket, QByteArray &pending)
{
    for (;;) {
        const int headEnd = pending.indexOf("\r\n\r\n");
        if (headEnd < 0)
            return;
        const int requestLength = headEnd + 4 + contentLength(pending.left(headEnd));
        if (pending.size() < requestLength)
            return;
        pending.remove(0, requestLength);
        ++m_answeredRequests;
        const QByteArray body(Body);
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nConnection: keep-alive\r\nContent-Length: "
                      + QByteArray::number(body.size()) + "\r\n\r\n" + body);
    }
}
