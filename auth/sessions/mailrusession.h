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
    explicit MailRuSession(QObject *parent);

    QString uid() const;
    //! The game centre's ticket; the name is kept as launchers already call it.
    QString ticked() const;
    void tryLogin() override;

public Q_SLOTS:
    void setUid(const QString &uid);
    void setTicked(const QString &ticked);

private:
    void _onLoginReply(QNetworkReply *reply);
    void _onRedirectReply(QNetworkReply *reply);

    QString m_uid;
    QString m_ticked;
};

} // namespace NimblaSDK
