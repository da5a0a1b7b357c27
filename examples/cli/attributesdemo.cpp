#include "attributesdemo.h"

#include "attributes/userattributes.h"
#include "httpapirequester.h"

using namespace NimblaSDK;

namespace {

const QString Key = QStringLiteral("favourite_class");
const QString Written = QStringLiteral("ranger");

QString failureText(const char *step, const UserAttributesError &error)
{
    return QStringLiteral("%1 the attribute failed (%2):%3").arg(QLatin1String(step)).arg(error.code).arg(error.message);
}

} // namespace

QString AttributesDemo::key()
{
    return Key;
}

QString AttributesDemo::written()
{
    return Written;
}

AttributesDemo::AttributesDemo(QObject *parent)
    : QObject(parent)
    , m_requester(QSharedPointer<HttpApiRequester>::create(nullptr))
{
}

UserAttributes *AttributesDemo::_client(const QString &userId, int publisherProjectId)
{
    // The demo's AuthManager belongs to the sign-in part; the client does not consult it.
    auto *attributes = new UserAttributes(m_requester, QSharedPointer<AuthManager>(), this);
    attributes->setPublisherID(publisherProjectId);
    attributes->setUserID(userId);
    attributes->setKeys({Key});
    return attributes;
}

void AttributesDemo::run(const QString &jwt, const QString &userId, int publisherProjectId)
{
    m_requester->authorized({{QStringLiteral("access_token"), jwt}});
    UserAttributes *writer = _client(userId, publisherProjectId);
    writer->setValue(Key, Written);
    connect(writer, &UserAttributes::updateFinished, this,
            [this, userId, publisherProjectId](const UserAttributesError &error) {
                if (error.code != 0) {
                    Q_EMIT finished(QString(), failureText("Writing", error));
                    return;
                }
                _read(userId, publisherProjectId);
            });
    writer->update();
}

void AttributesDemo::_read(const QString &userId, int publisherProjectId)
{
    UserAttributes *reader = _client(userId, publisherProjectId);
    connect(reader, &UserAttributes::getFinished, this, [this, reader](const UserAttributesError &error) {
        if (error.code != 0) {
            Q_EMIT finished(QString(), failureText("Reading", error));
            return;
        }
        Q_EMIT finished(reader->value(Key), QString());
    });
    reader->get();
}
