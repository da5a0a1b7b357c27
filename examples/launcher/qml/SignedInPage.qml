import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

Page {
    id: page

    property var session // the signed-in session
    signal logout()

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 24
        spacing: 10

        Label {
            text: qsTr("Signed in")
            font.pixelSize: 24
        }
        GridLayout {
            Layout.fillWidth: true
            columns: 2
            columnSpacing: 16

            Label { text: qsTr("Login") }
            Label {
                objectName: "loginValue"
                Layout.fillWidth: true
                elide: Text.ElideRight
                text: page.session ? page.session.login : ""
            }
            Label { text: qsTr("User name") }
            Label {
                objectName: "userNameValue"
                Layout.fillWidth: true
                elide: Text.ElideRight
                text: page.session ? page.session.userName : ""
            }
            Label { text: qsTr("User id") }
            Label {
                objectName: "userIdValue"
                Layout.fillWidth: true
                elide: Text.ElideRight
                text: page.session ? page.session.userId : ""
            }
            Label { text: qsTr("Merchant id") }
            Label {
                objectName: "merchantIdValue"
                Layout.fillWidth: true
                elide: Text.ElideRight
                text: page.session ? page.session.merchantId : ""
            }
        }
        Button {
            objectName: "logoutButton"
            text: qsTr("Log out")
            onClicked: page.logout()
        }
        Item {
            Layout.fillHeight: true
        }
    }
}
