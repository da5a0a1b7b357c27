#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

/*
 * A local service whose answers break off: every request gets "200 OK" with
 * the Content-Length of the whole body, a third of that body, and then the
 * connection is closed. What the reader holds looks like the start of a good
 * answer, which is exactly what must never be taken for one.
 */
class CutReplyServer
{
public:
    explicit CutReplyServer(const QByteArray &body)
        : m_body(body)
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { read(socket); });
            }
        });
    }

    bool listen() { return m_server.listen(QHostAddress::LocalHost); }

    QUrl url(const QString &path) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path));
    }

    int requests() const { return m_requests; }

private:
    void read(QTcpSocket *socket)
    {
        // Answered only once the whole request is in, so that closing the
        // connection cuts the answer and not the request.
        QByteArray request = socket->property("request").toByteArray() + socket->readAll();
        socket->setProperty("request", request);
        const int headerEnd = request.indexOf("\r\n\r\n");
        if (headerEnd < 0)
            return;
        qsizetype length = 0;
        for (const QByteArray &line : request.left(headerEnd).split('\n')) {
            if (line.toLower().startsWith("content-length:"))
                length = line.mid(15).trimmed().toLongLong();
        }
        if (request.size() < headerEnd + 4 + length)
            return;

        ++m_requests;
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: "
                      + QByteArray::number(m_body.size()) + "\r\n\r\n" + m_body.left(m_body.size() / 3));
        socket->disconnectFromHost();
    }

    QTcpServer m_server;
    QByteArray m_body;
    int m_requests = 0;
};
