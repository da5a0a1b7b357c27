#pragma once

#include "libraryreports.h"
#include "simulatedbrowser.h"

#include <QCoreApplication>
#include <QHostAddress>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStringList>
#include <QTcpSocket>
#include <QThread>
#include <QUrl>
#include <QUrlQuery>
#include <QVector>

#include <utility>

// Checks shared by the browser sign-in tests.
namespace SignInChecks {

inline QRegularExpression startedLine()
{
    return QRegularExpression(QStringLiteral("^Starting local server on port: [1-9]\\d*$"));
}

// What a desktop without a browser says when it refuses an address: the
// minimal platform of the test run, or the offscreen one.
inline QRegularExpression refusedByDesktop()
{
    return QRegularExpression(QStringLiteral("^(The platform plugin does not support services|"
                                             "This plugin does not support QPlatformServices::openUrl\\(\\) for '.+')\\.$"));
}

using LibraryReports::errorReports;

//! \a count copies of \a text: what a repeated callback leaves behind.
inline QStringList repeated(const QString &text, int count)
{
    return QVector<QString>(count, text).toList();
}

//! The first argument of every emission \a spy recorded, as text.
inline QStringList texts(const QSignalSpy &spy)
{
    QStringList result;
    for (const QList<QVariant> &arguments : spy)
        result << arguments.value(0).toString();
    return result;
}

inline QString queryValue(const QUrl &url, const QString &name)
{
    return QUrlQuery(url).queryItemValue(name, QUrl::FullyDecoded);
}

//! The local port named by the query item \a name of \a url, e.g. "login_url" or "redirect_uri".
inline quint16 listenerPort(const QUrl &url, const QString &name)
{
    return quint16(QUrl(queryValue(url, name)).port());
}

inline bool listens(quint16 port)
{
    QTcpSocket probe;
    probe.connectToHost(QHostAddress::LocalHost, port);
    return probe.waitForConnected(5000);
}

enum class Browser { Walking, Idle, Absent };

//! One sign-in: the desktop's simulated browser (unless absent), the session and what it signals.
template <typename Session>
struct Attempt
{
    template <typename... Arguments>
    explicit Attempt(Browser kind, Arguments &&...arguments)
        : session(std::forward<Arguments>(arguments)..., nullptr)
    {
        browser.setIdle(kind == Browser::Idle);
        if (kind != Browser::Absent)
            browser.install();
        // A direct connection sees the thread that emits, which a queued one would hide.
        QObject::connect(&session, &Session::loginFinished, &session, [this] {
            finishedOnMainThread = QThread::currentThread() == QCoreApplication::instance()->thread();
        }, Qt::DirectConnection);
    }

    QUrl address() const { return QUrl(ready.value(0).value(0).toString()); }

    SimulatedBrowser browser;
    Session session;
    QSignalSpy ready{&session, &Session::loginUrlIsReady};
    QSignalSpy finished{&session, &Session::loginFinished};
    QSignalSpy errors{&session, &Session::error};
    bool finishedOnMainThread = false;
};

} // namespace SignInChecks
