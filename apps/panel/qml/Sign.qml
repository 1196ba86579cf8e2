import QtQuick 2.15

// A drawn sign of one colour.
Image {
    property string name: ""
    property color colour: Theme.ink
    property int size: 24

    width: size
    height: size
    sourceSize: Qt.size(size, size)
    source: name === "" ? "" : "image://sign/" + name + "/" + String(colour).slice(1)
}
