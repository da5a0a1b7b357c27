#pragma once

#include "libraryreports.h"
#include "nnetworkaccessmanager.h"
#include "simulatedbrowser.h"

#include <QCoreApplication>
#include <QHostAddress>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QThread>
#include <QUrlQuery>
#include <QVector>

#include <type_traits>
#include <utility>

// One sign-in of a session as the password and browser sign-in tests drive it, and what they read back.
namespace SignIn {

using namespace LibraryReports;

inline QString path(const QString &url)
{
    return QUrl(url).path();
}

inline QString compactJson(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

//! A canned error answer of the service.
inline QJsonObject refusal(int status, const QString &description)
{
    return {{"status", status}, {"body", compactJson({{"error", QJsonObject{{"description", description}}}})}};
}

inline QRegularExpression listenerStartedLine()
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

//! The first argument of every emission \a spy recorded, as text.
inline QStringList texts(const QSignalSpy &spy)
{
    QStringList result;
    for (const QList<QVariant> &arguments : spy)
        result << arguments.value(0).toString();
    return result;
}

//! \a count copies of \a text: what a repeated callback leaves behind.
inline QStringList repeated(const QString &text, int count)
{
    return QVector<QString>(count, text).toList();
}

//! Replies of the shared network manager: finished ones by path, and those still alive.
class ReplyWatch
{
public:
    ReplyWatch()
    {
        m_connection = QObject::connect(NimblaSDK::NNetworkAccessManager::getManager(), &QNetworkAccessManager::finished,
                                        [this](QNetworkReply *reply) { m_finished << reply->url().path(); });
    }
    ~ReplyWatch() { QObject::disconnect(m_connection); }

    int finished(const QString &path) const { return m_finished.count(path); }

    // A request the library made is a child of the manager until its reply is released.
    static int alive(const QString &path)
    {
        int count = 0;
        for (QNetworkReply *reply : NimblaSDK::NNetworkAccessManager::getManager()->findChildren<QNetworkReply *>())
            count += reply->url().path() == path ? 1 : 0;
        return count;
    }

private:
    QMetaObject::Connection m_connection;
    QStringList m_finished;
};

template <typename Session, typename = void>
struct AnnouncesAddress : std::false_type {};
template <typename Session>
struct AnnouncesAddress<Session, std::void_t<decltype(&Session::loginUrlIsReady)>> : std::true_type {};

enum class Browser { Walking, Idle, Absent };

/*
 * One sign-in: the desktop's simulated browser (unless absent), the session, and
 * its outcome signals in the order they came ("finished", "error", and those
 * that watch() adds).
 */
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
            seen << QStringLiteral("finished");
            finishedOnMainThread = QThread::currentThread() == QCoreApplication::instance()->thread();
        }, Qt::DirectConnection);
        watch(&Session::error, "error");
        if constexpr (AnnouncesAddress<Session>::value) {
            QObject::connect(&session, &Session::loginUrlIsReady, &session,
                             [this](const QString &url) { announced << url; });
        }
    }

    template <typename Signal>
    void watch(Signal signal, const char *name)
    {
        QObject::connect(&session, signal, &session, [this, name] { seen << QLatin1String(name); });
    }

    QUrl address() const { return QUrl(announced.value(0)); }

    SimulatedBrowser browser;
    Session session;
    QSignalSpy finished{&session, &Session::loginFinished};
    QSignalSpy errors{&session, &Session::error};
    QStringList seen;
    QStringList announced; //!< the login addresses, for a browser sign-in
    bool finishedOnMainThread = false;
};

} // namespace SignIn
