#pragma once

#include <QByteArray>
#include <QMap>

/*
 * One HTTP request over a plain TCP socket, with blocking waits only, so that
 * no queued Qt event is delivered while it runs. Keep-alive is left on: the
 * answer is complete at the end of its Content-Length or when the server ends
 * the connection.
 */
class RawHttpClient
{
public:
    struct Answer
    {
        bool ended = false;     //!< complete, or the connection ended, within the bound
        bool closed = false;    //!< the server ended the connection
        int status = 0;         //!< 0: no status line came
        QByteArray statusLine;  //!< without its line end
        QMap<QByteArray, QByteArray> headers; //!< names in lower case
        QByteArray body;
        QByteArray bytes;       //!< everything received
    };

    static Answer get(quint16 port, const QByteArray &target, int waitMs = 5000);
};
