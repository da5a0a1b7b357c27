#pragma once

#include <QByteArray>
#include <QMap>
#include <QVariantMap>

#include <optional>

/*
 * The player the stand-in platform libraries (Steam, Stone) play, chosen by
 * their environment variables: set while the object lives, then put back as
 * they were. A child process started meanwhile inherits them.
 */
class PlatformPlayer
{
public:
    //! \a variables: a variable's name to its value, e.g. {"NIMBLA_STEAM_TICKET", "steam-judy"}.
    explicit PlatformPlayer(const QVariantMap &variables)
    {
        for (auto it = variables.cbegin(); it != variables.cend(); ++it) {
            const QByteArray name = it.key().toLatin1();
            m_previous.insert(name, qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt);
            qputenv(name, it.value().toByteArray());
        }
    }
    ~PlatformPlayer()
    {
        for (auto it = m_previous.cbegin(); it != m_previous.cend(); ++it) {
            if (it.value())
                qputenv(it.key(), *it.value());
            else
                qunsetenv(it.key());
        }
    }
    PlatformPlayer(const PlatformPlayer &) = delete;
    PlatformPlayer &operator=(const PlatformPlayer &) = delete;

private:
    QMap<QByteArray, std::optional<QByteArray>> m_previous;
};
