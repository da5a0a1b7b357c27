#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <NimblaSDK/Auth/abstractsession.h>

#include <QString>

class QNetworkReply;

namespace NimblaSDK {

/*!
 * Signs in a player who started the launcher from the Mail.Ru game centre,
 * with the user id and the ticket that the game centre hands over.
 *
 * The login service answers with a redirect whose address carries the JWT.
 * The identity is taken from that address at once; the sign-in finishes only
 * when the redirect target, fetched next, answers too.
 *
 * \code
 * auto *session = new MailRuSession(this);
 * connect(session, &AbstractSession::loginFinished, this, &Launcher::enter);
 * connect(session, &AbstractSession::error, this, &Launcher::showError);
 * session->setUid(gameCentreUserId);
 * session->setTicked(gameCentreTicket);
 * session->tryLogin();
 * \endcode
 */
class NIMBLAAUTH_EXPORT MailRuSession : public NimblaSDK::AbstractSession
{
    Q_OBJECT

public:
    //! Creates a session without the game centre's values; setUid(), setTicked() and tryLogin() sign in.
    explicit MailRuSession(QObject *parent);

    //! The game centre's user id given to setUid().
    QString uid() const;
    //! The game centre's ticket; the name is kept as launchers already call it.
    QString ticked() const;
    //! Sends the user id and the ticket to the service. A failed request, or a failed fetch of the redirect
    //! target, fails with the network error's text; a token that is missing from the redirect is not a failure
    //! of its own, but leaves the identity empty.
    void tryLogin() override;

public Q_SLOTS:
    //! Sets the game centre's user id for the next tryLogin(); not announced.
    void setUid(const QString &uid);
    //! Sets the game centre's ticket for the next tryLogin(); not announced.
    void setTicked(const QString &ticked);

private:
    void _onLoginReply(QNetworkReply *reply);
    void _onRedirectReply(QNetworkReply *reply);

    QString m_uid;
    QString m_ticked;
};

} // namespace NimblaSDK
