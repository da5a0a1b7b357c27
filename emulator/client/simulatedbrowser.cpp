#include "simulatedbrowser.h"

#include <QDesktopServices>
#include <QNetworkReply>

namespace {

constexpr int MaxHops = 10;

} // namespace

SimulatedBrowser::SimulatedBrowser(QObject *parent)
    : QObject(parent)
{
}

SimulatedBrowser::~SimulatedBrowser()
{
    if (m_installed)
        QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
}

void SimulatedBrowser::install()
{
    QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "open");
    m_installed = true;
}

void SimulatedBrowser::setRewrite(Rewrite rewrite)
{
    m_rewrite = std::move(rewrite);
}

void SimulatedBrowser::setIdle(bool idle)
{
    m_idle = idle;
}

QList<SimulatedBrowser::Hop> SimulatedBrowser::hops() const
{
    return m_hops;
}

QList<QUrl> SimulatedBrowser::opened() const
{
    return m_opened;
}

void SimulatedBrowser::open(const QUrl &url)
{
    m_opened.append(url);
    if (!m_idle)
        _visit(url, MaxHops);
}

void SimulatedBrowser::_visit(const QUrl &address, int hopsLeft)
{
    const QUrl url = m_rewrite ? m_rewrite(address) : address;
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setTransferTimeout(15000);
    QNetworkReply *reply = m_network.get(request);
    connect(reply, &QNetworkReply::finished, this, [this, reply, url, hopsLeft] {
        reply->deleteLater();
        Hop hop;
        hop.url = url;
        hop.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        hop.body = reply->readAll();
        m_hops.append(hop);

        const QUrl location = reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
        if (hop.status / 100 == 3 && location.isValid() && hopsLeft > 1) {
            _visit(url.resolved(location), hopsLeft - 1);
            return;
        }
        Q_EMIT finished();
    });
}
