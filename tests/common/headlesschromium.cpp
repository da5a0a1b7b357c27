#include "headlesschromium.h"

#include <QDesktopServices>
#include <QStandardPaths>

QString HeadlessChromium::executable()
{
    return QStandardPaths::findExecutable(QStringLiteral("chromium"));
}

HeadlessChromium::HeadlessChromium(QObject *parent)
    : QObject(parent)
{
}

HeadlessChromium::~HeadlessChromium()
{
    if (m_installed)
        QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
    for (QProcess *process : m_processes) {
        process->terminate();
        if (!process->waitForFinished(5000)) {
            process->kill();
            process->waitForFinished(5000);
        }
        delete process;
    }
}

void HeadlessChromium::install()
{
    QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "open");
    m_installed = true;
}

QList<QUrl> HeadlessChromium::opened() const
{
    return m_opened;
}

void HeadlessChromium::open(const QUrl &url)
{
    m_opened.append(url);
    auto *process = new QProcess;
    m_processes.append(process);
    process->setProgram(executable());
    // --no-sandbox because the tests may run as root; a fresh profile so that
    // nothing of an earlier run (cookies, cache, first-run pages) takes part.
    process->setArguments({
            QStringLiteral("--headless"),
            QStringLiteral("--no-sandbox"),
            QStringLiteral("--disable-gpu"),
            QStringLiteral("--disable-quic"),
            QStringLiteral("--no-first-run"),
            QStringLiteral("--disable-background-networking"),
            QStringLiteral("--disable-component-update"),
            QStringLiteral("--disable-sync"),
            QStringLiteral("--user-data-dir=") + m_profiles.filePath(QString::number(m_processes.size())),
            url.toString(QUrl::FullyEncoded),
    });
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    process->start();
}
