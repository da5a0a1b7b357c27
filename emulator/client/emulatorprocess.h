#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QUrl>

/*
 * Runs the login-service emulator on a free loopback port and speaks to its
 * admin API. The emulator dies with this object, and with this process.
 */
class EmulatorProcess
{
public:
    EmulatorProcess() = default;
    ~EmulatorProcess();

    //! Starts \a program, which writes its library configuration to \a configPath; false (with a warning) on failure.
    bool start(const QString &program, const QString &configPath, const QStringList &extraArguments = {});
    void stop();

    QUrl baseUrl() const;

    //! A fresh token of a seeded user; \a expiresInSeconds 0 keeps the seed's lifetime.
    QString token(const QString &user, const QString &project = {}, int expiresInSeconds = 0);

    //! A blocking call to the emulator, at \a pathAndQuery relative to its address or at an absolute URL;
    //! on a network manager of its own and bounded to ten seconds.
    QByteArray send(const QByteArray &verb, const QString &pathAndQuery, const QJsonObject &body = {});

    //! The login page of \a provider in the provider list that the service publishes at \a listUrl;
    //! empty when the list has no such provider.
    QString socialProviderLink(const QString &listUrl, const QString &provider);

    EmulatorProcess(const EmulatorProcess &) = delete;
    EmulatorProcess &operator=(const EmulatorProcess &) = delete;

private:
    QProcess m_process;
    QUrl m_baseUrl;
};
