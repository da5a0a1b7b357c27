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
#include <QXmlStreamReader>
#include <QtTest>

#include <memory>

using namespace NimblaSDK;

namespace {

struct Message
{
    QString key; //!< context and source text
    QString translation;
    QString type; //!< "unfinished", "vanished", "obsolete" or empty
};

QVector<Message> readCatalogue(const QString &path, QString *failure)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *failure = file.errorString();
        return {};
    }
    QVector<Message> messages;
    QString context;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (xml.name() == QLatin1String("source")) {
            messages.append({context + QStringLiteral(" | ") + xml.readElementText(), {}, {}});
        } else if (xml.name() == QLatin1String("translation") && !messages.isEmpty()) {
            messages.last().type = xml.attributes().value(QStringLiteral("type")).toString();
            messages.last().translation = xml.readElementText();
        }
    }
    if (xml.hasError())
        *failure = xml.errorString();
    return messages;
}

QStringList keys(const QVector<Message> &messages)
{
    QStringList result;
    for (const Message &message : messages)
        result << message.key;
    return result;
}

QStringList without(QStringList list, const QStringList &removed)
{
    for (const QString &item : removed)
        list.removeAll(item);
    return list;
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
    void englishNeedsNoCatalogue();

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

    // What lupdate finds in the sources today, against what the catalogue holds.
    QTemporaryDir scratch;
    QVERIFY(scratch.isValid());
    const QString fresh = scratch.filePath(QStringLiteral("fresh_ru.ts"));
    QProcess lupdate;
    lupdate.setWorkingDirectory(QStringLiteral(NIMBLA_SOURCE_DIR));
    lupdate.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    lupdate.start(QStringLiteral(NIMBLA_LUPDATE),
                  QStringList{"-no-obsolete", "-locations", "none"} << sources << QStringList{"-ts", fresh});
    QVERIFY2(lupdate.waitForFinished(120000), qPrintable(lupdate.errorString()));
    QCOMPARE(lupdate.exitCode(), 0);

    QString failure;
    const QStringList found = keys(readCatalogue(fresh, &failure));
    QVERIFY2(failure.isEmpty(), qPrintable(failure));
    const QVector<Message> committed = readCatalogue(QStringLiteral(NIMBLA_SOURCE_DIR "/") + catalogue, &failure);
    QVERIFY2(failure.isEmpty(), qPrintable(failure));
    QVERIFY(!found.isEmpty());

    const QStringList missing = without(found, keys(committed));
    QVERIFY2(missing.isEmpty(), qPrintable("Texts missing from " + catalogue + " (build the "
                                           "nimbla_update_translations target, then translate them):\n"
                                           + missing.join('\n')));
    const QStringList stale = without(keys(committed), found);
    QVERIFY2(stale.isEmpty(), qPrintable("Texts no longer in the sources:\n" + stale.join('\n')));
    QStringList untranslated;
    for (const Message &message : committed) {
        if (!message.type.isEmpty() || message.translation.isEmpty())
            untranslated << message.key;
    }
    QVERIFY2(untranslated.isEmpty(), qPrintable("Texts without a finished translation:\n" + untranslated.join('\n')));
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
    if (session == QLatin1String("jwt")) {
        started = std::make_unique<JwtLoginSession>(nullptr);
    } else if (session == QLatin1String("password")) {
        auto *password = new NimblaLoginSession(nullptr);
        password->setLogin(login);
        password->setPassword(login.isEmpty() ? QString() : QStringLiteral("bob-password"));
        started.reset(password);
    } else {
        auto *password = new NimblaLoginOAuthSession(nullptr);
        password->setLogin(login);
        password->setPassword(login.isEmpty() ? QString() : QStringLiteral("bob-password"));
        started.reset(password);
    }
    QSignalSpy errors(started.get(), &AbstractSession::error);
    if (session == QLatin1String("jwt"))
        started->refresh();
    else
        started->tryLogin();
    QTRY_COMPARE_WITH_TIMEOUT(errors.count(), 1, 10000);
    QCOMPARE(errors.at(0).at(0).toString(), expected);
}

void TestTranslations::englishNeedsNoCatalogue()
{
    QLocale::setDefault(QLocale(QLocale::Russian));
    QVERIFY(installTranslator());
    // Back to English: the Russian catalogue goes, and the texts are the sources' own again.
    QVERIFY(!installTranslator(QLocale(QLocale::English, QLocale::UnitedKingdom)));
    NimblaLoginSession session(nullptr);
    session.setLogin(QString());
    QSignalSpy errors(&session, &AbstractSession::error);
    session.tryLogin();
    QCOMPARE(errors.count(), 1);
    QVERIFY(errors.at(0).at(0).toString().startsWith(QLatin1String("Could not log in via the saved account.")));
}

QTEST_GUILESS_MAIN(TestTranslations)
#include "tst_translations.moc"
