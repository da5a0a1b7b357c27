#pragma once

#include "abstractsession.h"
#include "emulatorfixture.h"
#include "steamstandin.h"

#include <QJsonObject>
#include <QObject>
#include <QSignalSpy>

#include <memory>

//! One sign-in of any of the Steam sessions, and what it signals.
struct SteamAttempt
{
    enum Start { Idle, SignIn };

    explicit SteamAttempt(NimblaSDK::AbstractSession *signingIn, Start start = Idle)
        : session(signingIn)
    {
        if (start == SignIn)
            session->tryLogin();
    }

    bool ended() const { return !finished.isEmpty() || !errors.isEmpty() || !needEmail.isEmpty(); }
    void sendEmail(const QString &address)
    {
        QMetaObject::invokeMethod(session.get(), "sendEmail", Q_ARG(QString, address));
    }

    std::unique_ptr<NimblaSDK::AbstractSession> session;
    QSignalSpy finished{session.get(), &NimblaSDK::AbstractSession::loginFinished};
    QSignalSpy errors{session.get(), &NimblaSDK::AbstractSession::error};
    QSignalSpy refreshed{session.get(), &NimblaSDK::AbstractSession::refreshed};
    QSignalSpy needEmail{session.get(), SIGNAL(needSendEmail())};
    QSignalSpy emailSent{session.get(), SIGNAL(sendEmailFinished(bool, QString))};
};

/*
 * The cases that every Steam session shares, whichever service it sends the
 * ticket to: the fixture, a client that cannot give a ticket, the e-mail sent
 * afterwards, and the session deleted while the pump waits. A suite derives
 * from it, makes its session in newSession() and adds its own cases; Qt Test
 * runs the cases of both. After every case the session is gone, and with it
 * the ticket callback and the client.
 */
class SteamSuite : public QObject
{
    Q_OBJECT

public:
    //! The session's ways; the Steam launcher service's by default.
    struct Kind
    {
        QString notRunning = "Steam: steam client isnt running"; //!< the titles of its error reports
        QString ticketFailed = "Steam: Failed get steam session ticket";
        QString emailFailed = "Steam: Failed send email";
        bool emailOutcomeFirst = false; //!< sendEmailFinished() comes before the report
        QByteArray emailTicket = "steam-nina"; //!< a Steam account without an e-mail
        QJsonObject config = {};               //!< loaded before every case
        bool usesVault = false;
    };

public Q_SLOTS:
    //! Not a case: notes how many reports were made when the e-mail's outcome came.
    void noteEmailOutcome();

protected:
    explicit SteamSuite(const Kind &kind)
        : m_kind(kind)
    {
    }

    virtual NimblaSDK::AbstractSession *newSession() = 0;
    //! The stand-in's client, as init() sets it, with the Steam account of \a ticket.
    static void playTicket(const QByteArray &ticket)
    {
        SteamStandIn::Client client;
        client.ticket = ticket;
        client.apply();
    }
    //! The rest of init() for the suite.
    virtual void prepare() {}
    //! Loads the suite's configuration with \a overrides merged in.
    bool loadConfig(const QJsonObject &overrides);

    EmulatorFixture m_emulator;
    std::unique_ptr<SteamStandIn::Inspector> m_standIn;

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void clientUnusable_data();
    void clientUnusable();
    void sendEmail_data();
    void sendEmail();
    void destroyedWhileWaitingForTheTicket();

private:
    Kind m_kind;
    int m_reportsAtEmailOutcome = -1;
};
