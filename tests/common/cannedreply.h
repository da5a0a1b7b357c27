#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkReply>
#include <QPair>

/*
 * A finished HTTP reply with a status, headers and a body given up front, and
 * no network error: what Qt hands on when a service's connection closes
 * mid-body at the wrong moment. It lets a test show the library such a reply
 * without depending on when Qt notices the cut.
 */
class CannedReply : public QNetworkReply
{
    Q_OBJECT

public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    CannedReply(int status, const Headers &headers, const QByteArray &body, QObject *parent = nullptr);

    void abort() override;
    qint64 bytesAvailable() const override;

protected:
    qint64 readData(char *data, qint64 maxSize) override;

private:
    QByteArray m_body;
    qint64 m_offset = 0;
};
