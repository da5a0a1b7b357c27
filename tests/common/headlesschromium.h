#pragma once

#include <QObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

/*
 * A real browser for the desktop's "http" addresses: each opened address
 * starts headless Chromium on a fresh profile, which follows the redirects
 * itself. Every browser started is killed when this object goes.
 */
class HeadlessChromium : public QObject
{
    Q_OBJECT

public:
    static QString executable();

    explicit HeadlessChromium(QObject *parent = nullptr);
    ~HeadlessChromium() override;

    void install();
    QList<QUrl> opened() const;

public Q_SLOTS:
    void open(const QUrl &url);

private:
    QTemporaryDir m_profiles;
    QList<QProcess *> m_processes;
    QList<QUrl> m_opened;
    bool m_installed = false;
};
