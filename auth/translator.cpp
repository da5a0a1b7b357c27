#include "translator.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTranslator>

namespace NimblaSDK {

bool installTranslator(const QLocale &locale)
{
    QCoreApplication *application = QCoreApplication::instance();
    if (!application)
        return false;

    // One translation at a time, owned by the application.
    static QPointer<QTranslator> installed;
    delete installed.data();

    auto *translator = new QTranslator(application);
    if (!translator->load(locale, QStringLiteral("nimblaauth"), QStringLiteral("_"),
                          QStringLiteral(":/NimblaSDK/translations"))) {
        delete translator;
        return false;
    }
    QCoreApplication::installTranslator(translator);
    installed = translator;
    return true;
}

} // namespace NimblaSDK
