#include "cannedreply.h"

#include <cstring>

CannedReply::CannedReply(int status, const Headers &headers, const QByteArray &body, QObject *parent)
    : QNetworkReply(parent)
    , m_body(body)
{
    setAttribute(QNetworkRequest::HttpStatusCodeAttribute, status);
    for (const auto &header : headers)
        setRawHeader(header.first, header.second);
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    setFinished(true);
}

void CannedReply::abort()
{
}

qint64 CannedReply::bytesAvailable() const
{
    return m_body.size() - m_offset + QNetworkReply::bytesAvailable();
}

qint64 CannedReply::readData(char *data, qint64 maxSize)
{
    const qint64 count = qMin(maxSize, m_body.size() - m_offset);
    std::memcpy(data, m_body.constData() + m_offset, size_t(count));
    m_offset += count;
    return count;
}
