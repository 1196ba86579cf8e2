import QtQuick 2.15

Rectangle {
    property Item target
    property bool shown: false

    visible: shown
    y: target.height - 3
    width: target.width
    height: 1
    color: Theme.accent
}
