import QtQuick 2.15
import QtQuick.Templates 2.15 as T

// A word that does something. Fingers may miss it by some pixels.
T.AbstractButton {
    id: link

    font: Theme.strongSmallFont
    implicitWidth: label.implicitWidth
    implicitHeight: label.implicitHeight + 4
    focusPolicy: Qt.StrongFocus
    Keys.onReturnPressed: clicked()
    Accessible.role: Accessible.Link
    Accessible.name: text
    Accessible.onPressAction: clicked()

    contentItem: Text {
        id: label

        text: link.text
        font: link.font
        color: Theme.accent
        verticalAlignment: Text.AlignVCenter
    }
    HoverUnderline { target: label; shown: link.hovered }
    FocusRing { shown: link.visualFocus; anchors.margins: -2 }
    MouseArea {
        anchors { fill: parent; margins: -10 }
        cursorShape: Qt.PointingHandCursor
        onClicked: link.clicked()
    }
}
