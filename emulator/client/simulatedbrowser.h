#pragma once

#include <QList>
#include <QNetworkAccessManager>
#include <QObject>
#include <QUrl>

#include <functional>

class QNetworkReply;

/*
 * Stands in for the system browser: registered as the desktop's handler of
 * "http" addresses, it fetches the address it is given and follows every
 * redirect itself, over real HTTP, up to a bounded number of hops. The last
 * hop of a browser sign-in is the local callback server of the session.
 */
class SimulatedBrowser : public QObject
{
    Q_OBJECT

public:
    struct Hop
    {
        QUrl url;
        int status = 0; //!< 0: the connection ended without an answer
        QByteArray body;
    };

    //! Lets a test alter an address before the browser goes there, for example to forge a redirect.
    using Rewrite = std::function<QUrl(const QUrl &)>;

    explicit SimulatedBrowser(QObject *parent = nullptr);
    ~SimulatedBrowser() override;

    //! Makes this object the desktop's browser until it is destroyed.
    void install();
    void setRewrite(Rewrite rewrite);
    //! An idle browser only takes the address, like a window the player closes at once.
    void setIdle(bool idle);

    QList<Hop> hops() const;
    QList<QUrl> opened() const;

public Q_SLOTS:
    //! Called by QDesktopServices::openUrl(); returns at once, the walk runs in the event loop.
    void open(const QUrl &url);

Q_SIGNALS:
    //! The walk from the last opened address ended: at a page, at a missing answer or at the hop limit.
    void finished();

private:
    void _visit(const QUrl &url, int hopsLeft);

    QNetworkAccessManager m_network;
    Rewrite m_rewrite;
    bool m_idle = false;
    QList<Hop> m_hops;
    QList<QUrl> m_opened;
    bool m_installed = false;
};
