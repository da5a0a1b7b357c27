#include "emulatorsuite.h"

#include "errorlogger.h"

#include <QTest>

void EmulatorSuite::initTestCase()
{
    QVERIFY(m_emulator.start());
}

void EmulatorSuite::init()
{
    m_emulator.clearFaults();
    m_emulator.clearRequests();
    QVERIFY(m_emulator.loadConfig());
    NimblaSDK::ErrorLogger::instance(NimblaSDK::ErrorLoggerSettings()).clearRecentEntries();
}
