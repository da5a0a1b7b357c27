#pragma once

#include <QString>
#include <QTest>

/*
 * Some tests need more than the build: a D-Bus session with the Secret Service,
 * Chromium, the D-Bus and keyring daemons. Without it such a test skips and
 * says what is missing; with NIMBLA_REQUIRE_TEST_ENVIRONMENT=1, which
 * scripts/test.sh sets, the same absence fails it, so that a run meant to run
 * everything cannot pass by skipping.
 */
namespace TestEnvironment {

inline bool required()
{
    return qEnvironmentVariableIntValue("NIMBLA_REQUIRE_TEST_ENVIRONMENT") != 0;
}

//! Whether a D-Bus session is there; what the vault needs of it is checked by its own tests.
inline bool hasSessionBus()
{
    return !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS");
}

//! Why a test that keeps an account in the vault cannot run.
inline const char *noSessionBus()
{
    return "Needs a D-Bus session with an unlocked keyring; scripts/test.sh runs one";
}

inline QString requiredFailure(const QString &missing)
{
    return missing + QStringLiteral(" (NIMBLA_REQUIRE_TEST_ENVIRONMENT is set)");
}

} // namespace TestEnvironment

//! Skips the test function unless \a available, or fails it when the environment is required.
#define NIMBLA_REQUIRE_ENVIRONMENT(available, reason)                                   \
    do {                                                                                \
        if (!(available)) {                                                             \
            const QString nimblaMissing = (reason);                                     \
            if (TestEnvironment::required())                                            \
                QFAIL(qPrintable(TestEnvironment::requiredFailure(nimblaMissing)));     \
            QSKIP(qPrintable(nimblaMissing));                                           \
        }                                                                               \
    } while (false)
