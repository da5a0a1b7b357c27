#include "rawhttpclient.h"

#include <QDeadlineTimer>
#include <QHostAddress>
#include <QTcpSocket>

namespace {

// Fills in the answer once the head has arrived; true when the body is complete by its length.
bool parse(RawHttpClient::Answer &answer)
{
    const int headEnd = answer.bytes.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return false;
    const QList<QByteArray> lines = answer.bytes.left(headEnd).split('\n');
    answer.statusLine = lines.value(0).trimmed();
    const QList<QByteArray> words = answer.statusLine.split(' ');
    answer.status = words.value(0).startsWith("HTTP/") ? words.value(1).toInt() : 0;
    answer.headers.clear();
    for (int i = 1; i < lines.size(); ++i) {
        const int colon = lines.at(i).indexOf(':');
        if (colon > 0)
            answer.headers.insert(lines.at(i).left(colon).trimmed().toLower(), lines.at(i).mid(colon + 1).trimmed());
    }
    answer.body = answer.bytes.mid(headEnd + 4);
    bool known = false;
    const int length = answer.headers.value("content-length").toInt(&known);
    return known && answer.body.size() >= length;
}

} // namespace

RawHttpClient::Answer RawHttpClient::get(quint16 port, const QByteArray &target, int waitMs)
{
    Answer answer;
    QTcpSocket socket;
    QDeadlineTimer deadline(waitMs);
    socket.connectToHost(QHostAddress::LocalHost, port);
    if (!socket.waitForConnected(int(deadline.remainingTime())))
        return answer;
    socket.write("GET " + target + " HTTP/1.1\r\nHost: localhost:" + QByteArray::number(port) + "\r\n\r\n");
    socket.waitForBytesWritten(int(deadline.remainingTime()));

    while (!deadline.hasExpired()) {
        if (socket.waitForReadyRead(int(deadline.remainingTime())))
            answer.bytes += socket.readAll();
        if (parse(answer)) {
            answer.ended = true;
            break;
        }
        if (socket.state() == QAbstractSocket::UnconnectedState) {
            answer.bytes += socket.readAll();
            parse(answer);
            answer.ended = answer.closed = true;
            break;
        }
    }
    return answer;
}
