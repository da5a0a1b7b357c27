#pragma once

#include "emulatorprocess.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

/*
 * Starts the login-service emulator on a free port, points the library's
 * settings at a temporary folder and loads a configuration aimed at the
 * emulator. One per test executable, a member of the test class.
 */
class EmulatorFixture
{
public:
    EmulatorFixture();

    //! Starts the emulator and loads its configuration; false (with a warning) if it cannot.
    bool start(const QStringList &extraArguments = {});

    QUrl baseUrl() const;
    QString configPath() const;
    QJsonObject config() const;
    QString tempPath() const;

    //! Loads the emulator's configuration with \a overrides merged in ("urls" and "network" key by key).
    bool loadConfig(const QJsonObject &overrides = {});

    QString token(const QString &user, const QString &project = {}, int expiresInSeconds = 0);
    QJsonObject adminConfig(const QString &project);

    //! A fault for the endpoint at \a url's path; the keys are those of the emulator's /admin/faults.
    void injectFault(const QUrl &url, QJsonObject fault);
    void clearFaults();
    //! The requests the emulator received, oldest first, optionally only those for \a path.
    QJsonArray requests(const QString &path = {});
    void clearRequests();
    //! Whether the emulator refuses an authorization request without a PKCE code challenge.
    void setPkceRequired(bool required);

    QByteArray adminGet(const QString &pathAndQuery);
    QByteArray adminSend(const QByteArray &verb, const QString &pathAndQuery, const QJsonObject &body = {});

private:
    QTemporaryDir m_tempDir;
    EmulatorProcess m_emulator;
    QJsonObject m_config;
    QString m_configPath;
};
