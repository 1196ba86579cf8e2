import QtQuick 2.15

// What concerns all of a line, over its shades, with what to do.
Rectangle {
    property alias title: title.text
    property alias text: text.text

    implicitHeight: words.height + 20
    radius: Theme.radius
    color: Theme.badTint
    border { color: Theme.bad; width: 1 }
    Accessible.role: Accessible.AlertMessage
    Accessible.name: title.text + ". " + text.text

    Column {
        id: words

        x: 14
        y: 10
        width: parent.width - 28
        spacing: 2

        Text { id: title; width: parent.width; font: Theme.strongFont; color: Theme.bad; elide: Text.ElideRight }
        Text { id: text; width: parent.width; font: Theme.textFont; color: Theme.ink; wrapMode: Text.Wrap }
    }
}
