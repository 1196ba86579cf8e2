import QtQuick 2.15

// A line of text under what the mouse is on.
Rectangle {
    property alias text: label.text
    property bool under: false

    visible: under && text !== ""
    z: 100
    y: parent.height + 6
    width: Math.min(label.implicitWidth, 280) + 16
    height: label.height + 12
    radius: Theme.radius
    color: Theme.ink

    Text {
        id: label

        x: 8
        y: 6
        width: parent.width - 16
        wrapMode: Text.Wrap
        font: Theme.smallFont
        color: Theme.surface
    }
}
