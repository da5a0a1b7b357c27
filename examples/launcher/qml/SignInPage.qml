import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

Page {
    id: page

    property var auth
    property bool busy
    property string errorText
    property string prompt
    property string policyUrl
    // The method button last clicked: started again once the account has its e-mail address.
    property string method

    signal started()
    signal failed(string reason)
    signal emailEntered(string address)

    function startMethod(name) {
        page.started()
        page.method = name
        const unavailable = otherMethods.start(page.auth, name, login.text, password.text)
        if (unavailable)
            page.failed(unavailable)
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 24
        spacing: 10

        Label {
            text: qsTr("Sign in")
            font.pixelSize: 24
        }
        TextField {
            id: login
            objectName: "loginField"
            Layout.fillWidth: true
            placeholderText: qsTr("Email")
            enabled: !page.busy
        }
        TextField {
            id: password
            objectName: "passwordField"
            Layout.fillWidth: true
            placeholderText: qsTr("Password")
            echoMode: TextInput.Password
            enabled: !page.busy
            onAccepted: signIn.clicked()
        }
        Switch {
            id: remember
            objectName: "rememberBox"
            text: qsTr("Remember me")
            checked: page.auth.rememberMe
        }
        Button {
            id: signIn
            objectName: "signInButton"
            Layout.fillWidth: true
            text: qsTr("Sign in")
            enabled: !page.busy && login.text && password.text
            onClicked: {
                page.started()
                page.auth.rememberMe = remember.checked
                if (page.auth.isOAuth2Available)
                    page.auth.loginViaNimblaLoginOAuth(login.text, password.text, remember.checked)
                else
                    page.auth.loginViaNimblaLogin(login.text, password.text, remember.checked)
            }
        }
        BusyIndicator {
            objectName: "busyIndicator"
            Layout.alignment: Qt.AlignHCenter
            running: page.busy
        }
        Label {
            objectName: "errorLabel"
            Layout.fillWidth: true
            visible: text
            text: page.errorText
            color: "firebrick"
            wrapMode: Text.Wrap
        }
        Label {
            objectName: "captchaPrompt"
            Layout.fillWidth: true
            visible: page.prompt === "captcha"
            text: qsTr("Please confirm that you are not a robot: sign in once on the website, then try again.")
            wrapMode: Text.Wrap
        }
        Label {
            objectName: "policyPrompt"
            Layout.fillWidth: true
            visible: page.prompt === "policy"
            text: qsTr("Please accept the privacy policy in your browser, then sign in again. <a href=\"%1\">Open it again</a>")
                      .arg(page.policyUrl)
            wrapMode: Text.Wrap
            onLinkActivated: Qt.openUrlExternally(link)
        }
        ColumnLayout {
            objectName: "emailPrompt"
            Layout.fillWidth: true
            visible: page.prompt === "email"

            Label {
                Layout.fillWidth: true
                text: qsTr("Your account has no e-mail address yet. Please enter one to finish signing in.")
                wrapMode: Text.Wrap
            }
            RowLayout {
                Layout.fillWidth: true
                TextField {
                    id: email
                    objectName: "emailField"
                    Layout.fillWidth: true
                    placeholderText: qsTr("Email")
                    enabled: !page.busy
                    onAccepted: send.clicked()
                }
                Button {
                    id: send
                    objectName: "emailSendButton"
                    text: qsTr("Send")
                    enabled: !page.busy && email.text
                    onClicked: page.emailEntered(email.text)
                }
            }
        }
        Label {
            text: qsTr("Or sign in with")
        }
        Flow {
            Layout.fillWidth: true
            spacing: 6

            // One button per social provider: over OAuth2 by its title when the project has it, else by its link.
            Repeater {
                model: page.auth.socialProviders
                Button {
                    objectName: "social:" + modelData.title
                    text: modelData.title
                    enabled: !page.busy && (page.auth.isOAuth2Available || modelData.link)
                    onClicked: {
                        page.started()
                        if (page.auth.isOAuth2Available)
                            page.auth.loginViaSocialNetworkOAuth(modelData.title)
                        else
                            page.auth.loginViaSocialNetwork(modelData.link)
                    }
                }
            }
            Repeater {
                model: otherMethods.buttons
                Button {
                    objectName: "method:" + modelData.name
                    text: modelData.title
                    enabled: !page.busy
                    onClicked: page.startMethod(modelData.name)
                }
            }
        }
        Item {
            Layout.fillHeight: true
        }
    }
}
