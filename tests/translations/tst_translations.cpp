// The player's texts in Russian: the committed catalogues (the library's and the demo
// launcher's) hold every text of their sources, each translated, and a session's error
// reaches the player in Russian.
#include "translator.h"

#include "emulatorfixture.h"
#include "sessions/jwtloginsession.h"
#include "sessions/nimblaloginoauthsession.h"
#include "sessions/nimblaloginsession.h"
#include "testenvironment.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace NimblaSDK;

namespace {

//! A password session of \a login, with the password that goes with it; no login: none.
template <typename Session>
std::unique_ptr<AbstractSession> passwordSession(const QString &login)
{
    auto session = std::make_unique<Session>(nullptr);
    session->setLogin(login);
    session->setPassword(login.isEmpty() ? QString() : QStringLiteral("bob-password"));
    return session;
}

} // namespace

class TestTranslations : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void catalogueIsComplete_data();
    void catalogueIsComplete();
    void errorTextsInRussian_data();
    void errorTextsInRussian();

private:
    EmulatorFixture m_emulator;
};

void TestTranslations::initTestCase()
{
    // The password sessions start from the account saved in the vault.
    NIMBLA_REQUIRE_ENVIRONMENT(TestEnvironment::hasSessionBus(), TestEnvironment::noSessionBus());
    QVERIFY(m_emulator.start());
    QVERIFY(m_emulator.loadConfig({{"appAccountName", "NimblaTranslationTests"}}));
}

void TestTranslations::cleanup()
{
    QLocale::setDefault(QLocale::c());
    installTranslator();
}

void TestTranslations::catalogueIsComplete_data()
{
    QTest::addColumn<QString>("catalogue");
    QTest::addColumn<QStringList>("sources");
    QTest::newRow("library") << "translations/nimblaauth_ru.ts" << QStringList{"auth", "core"};
    QTest::newRow("launcher") << "translations/nimbla-launcher_ru.ts"
                              << QStringList{"examples/launcher", "examples/common"};
}

void TestTranslations::catalogueIsComplete()
{
    QFETCH(QString, catalogue);
    QFETCH(QStringList, sources);

    // lupdate on a copy adds the texts the catalogue lacks and drops those the sources no longer
    // have: a complete catalogue comes back unchanged.
    QTemporaryDir scratch;
    QVERIFY(scratch.isValid());
    QFile committed(QStringLiteral(NIMBLA_SOURCE_DIR "/") + catalogue);
    QVERIFY(committed.open(QIODevice::ReadOnly));
    const QByteArray before = committed.readAll();
    const QString copy = scratch.filePath(QStringLiteral("copy_ru.ts"));
    QVERIFY(QFile::copy(committed.fileName(), copy));
    QProcess lupdate;
    lupdate.setWorkingDirectory(QStringLiteral(NIMBLA_SOURCE_DIR));
    lupdate.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    lupdate.start(QStringLiteral(NIMBLA_LUPDATE),
                  QStringList{"-no-obsolete", "-locations", "none"} << sources << QStringList{"-ts", copy});
    QVERIFY2(lupdate.waitForFinished(120000), qPrintable(lupdate.errorString()));
    QCOMPARE(lupdate.exitCode(), 0);
    QFile updated(copy);
    QVERIFY(updated.open(QIODevice::ReadOnly));
    QVERIFY2(updated.readAll() == before,
             qPrintable(catalogue + " is not up to date: build the nimbla_update_translations target, then "
                                    "translate what it added"));
    QVERIFY2(!before.contains("type=\"unfinished\"") && !before.contains("<translation></translation>"),
             qPrintable(catalogue + " has texts without a finished translation"));
}

void TestTranslations::errorTextsInRussian_data()
{
    QTest::addColumn<QString>("session");
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("expected");

    const QString savedAccount = QStringLiteral(
            "Не удалось войти с сохранённой учётной записью.\n Пожалуйста, введите адрес электронной почты и пароль "
            "или войдите через социальную сеть.");
    const QString incorrect = QStringLiteral("Неверный логин или пароль");
    QTest::newRow("password-no-saved-account") << "password" << "" << savedAccount;
    QTest::newRow("oauth-password-no-saved-account") << "oauth-password" << "" << savedAccount;
    QTest::newRow("password-refused") << "password" << "bob-locked@example.com" << incorrect;
    QTest::newRow("oauth-password-refused") << "oauth-password" << "bob-locked@example.com" << incorrect;
    QTest::newRow("session-timeout") << "jwt" << "" << QStringLiteral("Время сеанса истекло. Пожалуйста, войдите снова.");
}

void TestTranslations::errorTextsInRussian()
{
    QFETCH(QString, session);
    QFETCH(QString, login);
    QFETCH(QString, expected);

    QLocale::setDefault(QLocale(QLocale::Russian, QLocale::Russia));
    QVERIFY(installTranslator());

    std::unique_ptr<AbstractSession> started;
    if (session == QLatin1String("jwt"))
        started = std::make_unique<JwtLoginSession>(nullptr);
    else if (session == QLatin1String("password"))
        started = passwordSession<NimblaLoginSession>(login);
    else
        started = passwordSession<NimblaLoginOAuthSession>(login);
    QSignalSpy errors(started.get(), &AbstractSession::error);
    if (session == QLatin1String("jwt"))
        started->refresh();
    else
        started->tryLogin();
    QTRY_COMPARE_WITH_TIMEOUT(errors.count(), 1, 10000);
    QCOMPARE(errors.at(0).at(0).toString(), expected);
}

QTEST_GUILESS_MAIN(TestTranslations)
#include "tst_translations.moc"
