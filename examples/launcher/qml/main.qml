import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import NimblaSDK.Auth 1.0

ApplicationWindow {
    id: window
    width: 480
    height: 600
    visible: true
    title: qsTr("Nimbla Launcher")

    property bool signedIn: false
    property bool busy: false
    property string errorText: ""
    property string prompt: "" // "captcha", "policy" or "email", as the session asks
    property string policyUrl: ""
    // Longer than any request or browser sign-in is allowed to take: the spinner stops even if nothing answers.
    property int signInTimeoutMs: 90000

    AuthManager { id: auth }

    function begin() {
        busy = true
        errorText = ""
        prompt = ""
        guard.restart()
    }
    function end(error) {
        busy = false
        guard.stop()
        errorText = error
    }

    Timer {
        id: guard
        interval: window.signInTimeoutMs
        onTriggered: window.end(qsTr("The service did not answer. Please try again."))
    }

    // The manager does not repeat its sessions' outcomes: listen to the current session.
    Connections {
        target: auth.CurrentSession
        // Only the password sessions ask for a captcha or the policy, only the platform ones for an e-mail address.
        ignoreUnknownSignals: true
        function onLoginFinished() {
            window.end("")
            window.signedIn = true
        }
        // A token that the service refuses comes without a text.
        function onError(message) { window.end(message || qsTr("The service did not accept the sign-in.")) }
        function onCaptchaIsNeeded() {
            window.end("")
            window.prompt = "captcha"
        }
        function onPrivatePolicyIsNeeded(url) {
            window.end("")
            window.prompt = "policy"
            window.policyUrl = url
        }
        function onNeedSendEmail() {
            window.end("")
            window.prompt = "email"
        }
        // The session does not go on by itself: signing in again brings a token with the address.
        function onSendEmailFinished(success, message) {
            // Later: the manager deletes this session when it starts the next one. (Qt 6.4's qmllint
            // doubts that callLater is a method.)
            if (success)
                Qt.callLater(signInPage.startMethod, signInPage.method) // qmllint disable type
            else
                window.end(message || qsTr("The e-mail address was not accepted."))
        }
    }
    Connections {
        target: auth
        // A one-time password that the service refuses ends the automatic sign-in before any session exists.
        function onIsAutologinChanged() {
            if (window.busy && !auth.isAutologin && !auth.CurrentSession)
                window.end(qsTr("The one-time password was not accepted."))
        }
        function onError(message) {
            if (message)
                window.errorText = message
        }
    }

    // A one-time password left for the launcher, else the remembered session, else the form.
    Component.onCompleted: {
        begin()
        if (!auth.tryLoginWithOtp() && !auth.tryAutoLogin())
            end("")
    }

    StackLayout {
        anchors.fill: parent
        currentIndex: window.signedIn ? 1 : 0

        SignInPage {
            id: signInPage
            objectName: "signInPage"
            auth: auth
            busy: window.busy
            errorText: window.errorText
            prompt: window.prompt
            policyUrl: window.policyUrl
            onStarted: window.begin()
            onFailed: window.end(reason)
            onEmailEntered: {
                window.begin()
                window.prompt = "email" // shown, greyed out, until the service answers
                auth.CurrentSession.sendEmail(address)
            }
        }
        SignedInPage {
            objectName: "signedInPage"
            session: window.signedIn ? auth.CurrentSession : null
            onLogout: {
                auth.logout() // does not announce the dropped session: the page knows it
                window.signedIn = false
            }
        }
    }
}
