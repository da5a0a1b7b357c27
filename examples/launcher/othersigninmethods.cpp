#include "othersigninmethods.h"

#include "authmanager.h"

#include <QCoreApplication>

namespace {

bool hasOwnPlace(const SignInMethod &method)
{
    return method.kind == SignInMethod::Password || method.kind == SignInMethod::Social
           || method.kind == SignInMethod::Startup;
}

} // namespace

OtherSignInMethods::OtherSignInMethods(const SignInInput &platform, QObject *parent)
    : QObject(parent)
    , m_platform(platform)
{
}

QVariantList OtherSignInMethods::buttons() const
{
    QVariantList buttons;
    for (const SignInMethod &method : SignInMethod::all()) {
        if (!hasOwnPlace(method))
            buttons << QVariantMap{{"name", method.name}, {"title", QCoreApplication::translate("SignInMethod", method.title)}};
    }
    return buttons;
}

QString OtherSignInMethods::start(NimblaSDK::AuthManager *manager, const QString &name, const QString &login,
                                  const QString &password) const
{
    const SignInMethod *method = SignInMethod::find(name);
    if (!manager || !method)
        return tr("There is no such sign-in method.");
    SignInInput input = m_platform;
    input.login = login;
    input.password = password;
    return method->start(*manager, input) ? QString() : QCoreApplication::translate("SignInMethod", method->nothingToStart);
}
