import QtQuick 2.15

// What concerns all of a line, in one row: it comes and goes without moving a shade.
Rectangle {
    property alias title: title.text
    property alias text: text.text

    implicitHeight: 36
    radius: Theme.radius
    color: Theme.badTint
    border { color: Theme.bad; width: 1 }
    Accessible.role: Accessible.AlertMessage
    Accessible.name: title.text + ". " + text.text

    Text {
        id: title

        anchors { left: parent.left; leftMargin: 12; verticalCenter: parent.verticalCenter }
        width: Math.min(implicitWidth, parent.width - 24)
        font: Theme.strongTextFont
        color: Theme.bad
        elide: Text.ElideMiddle
    }
    Text {
        id: text

        anchors { left: title.right; leftMargin: 8; right: parent.right; rightMargin: 12; verticalCenter: parent.verticalCenter }
        font: Theme.textFont
        color: Theme.ink
        elide: Text.ElideRight
    }
}
