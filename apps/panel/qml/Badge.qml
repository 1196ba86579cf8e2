import QtQuick 2.15

// A word in a rounded frame.
Rectangle {
    property alias text: label.text
    property alias font: label.font
    property color ink: Theme.warning

    implicitWidth: label.implicitWidth + 20
    implicitHeight: 22
    radius: height / 2
    color: Theme.warningTint
    border { color: ink; width: 1 }

    Text {
        id: label

        anchors.centerIn: parent
        font: Theme.strongTinyFont
        color: parent.ink
    }
}
