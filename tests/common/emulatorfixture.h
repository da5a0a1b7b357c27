#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

/*
 * Starts the login-service emulator on a free port, points the library's
 * settings at a temporary folder and loads a configuration aimed at the
 * emulator. One per test executable, created in initTestCase().
 */
class EmulatorFixture
{
public:
    EmulatorFixture();
    ~EmulatorFixture();

    //! Starts the emulator and loads its configuration; false (with a warning) if it cannot.
    bool start(const QStringList &extraArguments = {});

    QUrl baseUrl() const;
    QString configPath() const;
    QJsonObject config() const;
    QString tempPath() const;

    //! Loads the emulator's configuration with \a overrides merged in (one level deep for "urls" and "network").
    bool loadConfig(const QJsonObject &overrides = {});

    QString token(const QString &user, const QString &project = {}, int expiresInSeconds = 0);
    QJsonObject adminConfig(const QString &project);

    //! Fault for the endpoint at \a url's path; see the emulator's README for the keys.
    void injectFault(const QUrl &url, QJsonObject fault);
    void clearFaults();
    QJsonArray requests(const QString &path = {});
    void clearRequests();

    //! Blocking helpers for the admin API; they use their own network manager, not the library's.
    QByteArray adminGet(const QString &pathAndQuery);
    QByteArray adminSend(const QByteArray &verb, const QString &path, const QJsonObject &body = {});

private:
    QTemporaryDir m_tempDir;
    QProcess m_process;
    QUrl m_baseUrl;
    QJsonObject m_config;
    QString m_configPath;
};
