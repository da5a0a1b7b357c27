// Renders the demo launcher's two pages, saves them as PNGs beside this test
// (launcher-sign-in.png, launcher-signed-in.png), and checks that each shows
// something and that signing in changed the picture.
#include "launcherdriver.h"

#include "emulatorfixture.h"
#include "simulatedbrowser.h"
#include "testenvironment.h"

#include <QImage>
#include <QQuickItemGrabResult>
#include <QSet>
#include <QtTest>

namespace {

//! How many colours the picture uses: a blank or one-colour page has one or two.
int colourCount(const QImage &image)
{
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); ++y) {
        const QRgb *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x)
            colours.insert(line[x]);
    }
    return colours.size();
}

//! The share of pixels that differ between two pictures of the same size.
double changedShare(const QImage &before, const QImage &after)
{
    int changed = 0;
    for (int y = 0; y < before.height(); ++y) {
        for (int x = 0; x < before.width(); ++x)
            changed += before.pixel(x, y) != after.pixel(x, y);
    }
    return double(changed) / (before.width() * before.height());
}

} // namespace

class TestScreenshots : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void pages();

private:
    QImage grab(LauncherDriver &launcher, const QString &name);

    EmulatorFixture m_emulator;
    SimulatedBrowser m_browser;
};

void TestScreenshots::initTestCase()
{
    NIMBLA_REQUIRE_ENVIRONMENT(TestEnvironment::hasSessionBus(), TestEnvironment::noSessionBus());
    QVERIFY(m_emulator.start());
    QVERIFY(m_emulator.loadConfig({{"appAccountName", "NimblaLauncherScreenshots"}}));
    m_browser.install();
}

QImage TestScreenshots::grab(LauncherDriver &launcher, const QString &name)
{
    // Rendered by the scene graph into an image of its own: the minimal platform keeps no picture of its windows.
    const QSharedPointer<QQuickItemGrabResult> grabbed = launcher.window()->contentItem()->grabToImage();
    if (!grabbed)
        return QImage();
    QSignalSpy ready(grabbed.data(), &QQuickItemGrabResult::ready);
    if (!ready.wait(5000))
        return QImage();
    const QImage image = grabbed->image().convertToFormat(QImage::Format_RGB32);
    const QString path = QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
    if (!image.save(path))
        qWarning() << "Could not save" << path;
    return image;
}

void TestScreenshots::pages()
{
    LauncherDriver launcher;
    QVERIFY(launcher.window());
    QVERIFY(QTest::qWaitForWindowExposed(launcher.window()));
    QTRY_VERIFY_WITH_TIMEOUT(launcher.manager()->isSocialProvidersLoaded(), 15000);
    QTRY_VERIFY(launcher.item("social:testbook"));
    QVERIFY(launcher.type("loginField", "alice@example.com"));

    const QImage signIn = grab(launcher, QStringLiteral("launcher-sign-in.png"));
    QVERIFY(!signIn.isNull());
    QCOMPARE(signIn.size(), launcher.window()->size() * launcher.window()->devicePixelRatio());
    // Text, fields and buttons in anti-aliased shades; a blank page has one colour.
    QVERIFY2(colourCount(signIn) >= 16, qPrintable(QString::number(colourCount(signIn))));

    QVERIFY(launcher.type("passwordField", "alice-password"));
    QVERIFY(launcher.click("signInButton"));
    QTRY_VERIFY_WITH_TIMEOUT(launcher.shows("signedInPage"), 15000);
    const QImage signedIn = grab(launcher, QStringLiteral("launcher-signed-in.png"));
    QVERIFY2(colourCount(signedIn) >= 16, qPrintable(QString::number(colourCount(signedIn))));
    QCOMPARE(signedIn.size(), signIn.size());
    QVERIFY2(changedShare(signIn, signedIn) > 0.02, qPrintable(QString::number(changedShare(signIn, signedIn))));
    QTRY_VERIFY(LauncherDriver::networkIsQuiet());
}

QTEST_MAIN(TestScreenshots)
#include "tst_screenshots.moc"
