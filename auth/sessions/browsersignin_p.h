#pragma once

#include <Poco/Exception.h>

#include <QDebug>
#include <QString>

#include <exception>

namespace NimblaSDK {

// Runs the start of a browser sign-in. A local listener that cannot open its
// socket is the failure expected there: it is logged, never raised to the
// caller. The misspelt line is kept for the log searches that look for it.
template <typename Start>
void startBrowserSignIn(Start &&start)
{
    try {
        start();
    } catch (const Poco::Exception &exception) {
        qDebug().noquote() << "Exeption" << QString::fromStdString(exception.displayText());
    } catch (const std::exception &exception) {
        qDebug().noquote() << "Exeption" << exception.what();
    }
}

} // namespace NimblaSDK
