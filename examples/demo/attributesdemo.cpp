#include "attributesdemo.h"

#include "attributes/userattributes.h"
#include "httpapirequester.h"

#include <QTextStream>

using namespace NimblaSDK;

namespace {

const QString Key = QStringLiteral("favourite_class");
const QString Written = QStringLiteral("ranger");

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

} // namespace

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
                    out() << "Writing the attribute failed (" << error.code << "):" << error.message << Qt::endl;
                    Q_EMIT finished(1);
                    return;
                }
                out() << "Wrote " << Key << " = " << Written << " in publisher project " << publisherProjectId
                      << Qt::endl;
                _read(userId, publisherProjectId);
            });
    writer->update();
}

void AttributesDemo::_read(const QString &userId, int publisherProjectId)
{
    UserAttributes *reader = _client(userId, publisherProjectId);
    connect(reader, &UserAttributes::getFinished, this, [this, reader](const UserAttributesError &error) {
        if (error.code != 0) {
            out() << "Reading the attribute failed (" << error.code << "):" << error.message << Qt::endl;
            Q_EMIT finished(1);
            return;
        }
        const QString read = reader->value(Key);
        out() << "Read back " << Key << " = " << read << Qt::endl;
        Q_EMIT finished(read == Written ? 0 : 1);
    });
    reader->get();
}
