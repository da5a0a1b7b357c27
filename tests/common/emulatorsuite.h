#pragma once

#include "emulatorfixture.h"

#include <QObject>

/*
 * The base of a suite against the emulator, for the manager, storage, attributes, token
 * and session suites: the emulator starts once, and before each test its faults, its
 * request log, the loaded configuration and the recent error reports start afresh.
 * A suite with more to prepare defines its own init() and calls this one first.
 */
class EmulatorSuite : public QObject
{
    Q_OBJECT

protected Q_SLOTS:
    void initTestCase();
    void init();

protected:
    EmulatorFixture m_emulator;
};
