import QtQuick 2.15

// Around what has the keys.
Rectangle {
    property bool shown: false

    visible: shown
    anchors { fill: parent; margins: -3 }
    radius: (parent.radius || 0) + 3
    color: "transparent"
    border { color: Theme.accent; width: 2 }
}
