// The provider against a configuration folder of its own: the settings files are written
// and inspected as plain files, independently of the QSettings naming the provider relies on.

#include "storage/otpprovider.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using NimblaSDK::OtpProvider;

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
    void organisationPasswordIsNotTheProducts_data();
    void organisationPasswordIsNotTheProducts();

private:
    QString configFile(const QString &relativePath) const { return m_configHome.filePath(relativePath); }
    bool writeFile(const QString &relativePath, const QByteArray &content) const;

    QTemporaryDir m_configHome;
};

bool TestOtpProvider::writeFile(const QString &relativePath, const QByteArray &content) const
{
    const QString path = configFile(relativePath);
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
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
    const QString file = configFile(QStringLiteral("NIMBLA/NimblaDemo_Launcher.conf"));
    QVERIFY(QDir().mkpath(QFileInfo(file).path()));
    OtpProvider provider;
    provider.setProjectName(QStringLiteral("NimblaDemo"));

    // Another program writes the file, as the installer does; an empty value removes the password.
    for (const QString value : {"first", "second", "", "third"}) {
        const QString line = value.isEmpty() ? QString() : "otp=" + value;
        QCOMPARE(QProcess::execute("sh", {"-c", "printf '[General]\\n%s\\n' \"$1\" > \"$2\"", "sh", line, file}), 0);
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

QTEST_GUILESS_MAIN(TestOtpProvider)

#include "tst_otpprovider.moc"
