// The provider against a configuration folder of its own: the settings files are written
// and inspected as plain files, independently of the QSettings naming the provider relies on.

#include "storage/otpprovider.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using NimblaSDK::OtpProvider;

namespace {

const char *const WriterOption = "--write-otp";

// Stands in for the installer: another program writing the settings file directly.
int runWriter(const QString &file, const QString &value)
{
    QSettings settings(file, QSettings::IniFormat);
    if (value.isEmpty())
        settings.remove(QStringLiteral("otp"));
    else
        settings.setValue(QStringLiteral("otp"), value);
    settings.sync();
    return settings.status() == QSettings::NoError ? 0 : 1;
}

} // namespace

class TestOtpProvider : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void readsTheProductsFile_data();
    void readsTheProductsFile();
    void valueWrittenByAnotherProgramIsSeen();
    void removeTakesOnlyThePassword();
    void readBeforeProjectName();
    void organisationPasswordIsNotTheProducts_data();
    void organisationPasswordIsNotTheProducts();

private:
    QString configFile(const QString &relativePath) const;
    bool writeFile(const QString &relativePath, const QByteArray &content) const;
    bool runWriterProcess(const QString &relativePath, const QString &value) const;

    QTemporaryDir m_configHome;
};

QString TestOtpProvider::configFile(const QString &relativePath) const
{
    return m_configHome.filePath(relativePath);
}

bool TestOtpProvider::writeFile(const QString &relativePath, const QByteArray &content) const
{
    const QString path = configFile(relativePath);
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

bool TestOtpProvider::runWriterProcess(const QString &relativePath, const QString &value) const
{
    QProcess writer;
    writer.start(QCoreApplication::applicationFilePath(), {QLatin1String(WriterOption), configFile(relativePath), value});
    return writer.waitForFinished(10000) && writer.exitStatus() == QProcess::NormalExit && writer.exitCode() == 0;
}

void TestOtpProvider::initTestCase()
{
    QVERIFY(m_configHome.isValid());
    // The user's configuration folder, before any settings object fixes its default paths.
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_configHome.path()));
}

void TestOtpProvider::cleanup()
{
    QDir(m_configHome.path()).removeRecursively();
    QDir().mkpath(m_configHome.path());
}

void TestOtpProvider::readsTheProductsFile_data()
{
    QTest::addColumn<QString>("productName");
    QTest::addColumn<QString>("file");

    QTest::newRow("product") << "NimblaDemo" << "NIMBLA/NimblaDemo_Launcher.conf";
    QTest::newRow("empty-product-name") << "" << "NIMBLA.conf";
    QTest::newRow("spaces-in-name") << "Star Fleet" << "NIMBLA/Star Fleet_Launcher.conf";
    QTest::newRow("non-ascii-name") << "Звезда" << "NIMBLA/Звезда_Launcher.conf";
}

void TestOtpProvider::readsTheProductsFile()
{
    QFETCH(QString, productName);
    QFETCH(QString, file);
    QVERIFY(writeFile(file, "[General]\notp=otp-for-this-product\n"));
    // A neighbour that must not be mistaken for ours.
    QVERIFY(writeFile(QStringLiteral("NIMBLA/Other_Launcher.conf"), "[General]\notp=otp-of-another-product\n"));

    OtpProvider provider;
    provider.setProjectName(productName);
    QCOMPARE(provider.read(), QStringLiteral("otp-for-this-product"));

    provider.remove();
    QCOMPARE(provider.read(), QString());
    QSettings other(configFile(QStringLiteral("NIMBLA/Other_Launcher.conf")), QSettings::IniFormat);
    QCOMPARE(other.value(QStringLiteral("otp")).toString(), QStringLiteral("otp-of-another-product"));
}

void TestOtpProvider::valueWrittenByAnotherProgramIsSeen()
{
    const QString file = QStringLiteral("NIMBLA/NimblaDemo_Launcher.conf");
    OtpProvider provider;
    provider.setProjectName(QStringLiteral("NimblaDemo"));

    // An empty value: the other program removes the password.
    for (const QString value : {"first", "second", "", "third"}) {
        QVERIFY(runWriterProcess(file, value));
        QCOMPARE(provider.read(), value);
    }
}

void TestOtpProvider::removeTakesOnlyThePassword()
{
    const QString file = QStringLiteral("NIMBLA/NimblaDemo_Launcher.conf");
    OtpProvider provider;
    provider.setProjectName(QStringLiteral("NimblaDemo"));
    provider.remove();
    // A read waits for the removal, which is made off the calling thread.
    QCOMPARE(provider.read(), QString());
    QVERIFY2(!QFile::exists(configFile(file)), "Removing an absent password created a settings file");

    QVERIFY(writeFile(file, "[General]\notp=abc\nlanguage=fr\n"));
    provider.remove();
    provider.remove();
    QCOMPARE(provider.read(), QString());
    QSettings written(configFile(file), QSettings::IniFormat);
    QVERIFY(!written.contains(QStringLiteral("otp")));
    QCOMPARE(written.value(QStringLiteral("language")).toString(), QStringLiteral("fr"));
}

void TestOtpProvider::readBeforeProjectName()
{
    QVERIFY(writeFile(QStringLiteral("NIMBLA.conf"), "[General]\notp=organisation-wide\n"));
    OtpProvider provider;

    QTest::ignoreMessage(QtWarningMsg, "No product name was set; there is no one-time password to look for");
    QCOMPARE(provider.read(), QString());
    QTest::ignoreMessage(QtWarningMsg, "No product name was set; there is no one-time password to look for");
    provider.remove();
    QTest::ignoreMessage(QtWarningMsg, "No product name was set; there is no one-time password to look for");
    QCOMPARE(provider.read(), QString());
    QCOMPARE(QSettings(configFile(QStringLiteral("NIMBLA.conf")), QSettings::IniFormat).value(QStringLiteral("otp")),
             QVariant(QStringLiteral("organisation-wide")));
}

void TestOtpProvider::organisationPasswordIsNotTheProducts_data()
{
    QTest::addColumn<QByteArray>("productFile");

    QTest::newRow("no-product-file") << QByteArray();
    QTest::newRow("product-file-without-password") << QByteArray("[General]\nlanguage=fr\n");
}

void TestOtpProvider::organisationPasswordIsNotTheProducts()
{
    QFETCH(QByteArray, productFile);
    const QString product = QStringLiteral("NIMBLA/NimblaDemo_Launcher.conf");
    QVERIFY(writeFile(QStringLiteral("NIMBLA.conf"), "[General]\notp=organisation-wide\n"));
    if (!productFile.isEmpty())
        QVERIFY(writeFile(product, productFile));

    OtpProvider provider;
    provider.setProjectName(QStringLiteral("NimblaDemo"));
    QCOMPARE(provider.read(), QString());
    provider.remove();
    QCOMPARE(provider.read(), QString());

    // Left for the product that owns it.
    OtpProvider root;
    root.setProjectName(QString());
    QCOMPARE(root.read(), QStringLiteral("organisation-wide"));
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc == 4 && qstrcmp(argv[1], WriterOption) == 0)
        return runWriter(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));
    TestOtpProvider test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_otpprovider.moc"
