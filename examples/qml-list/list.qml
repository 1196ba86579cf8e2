import QtQuick 2.12

Rectangle {
    width: 360
    height: 220
    color: "white"

    ListView {
        anchors.fill: parent
        model: nodes
        delegate: Item {
            width: 360
            height: 55
            Rectangle {
                x: 190; y: 18; width: 150; height: 18
                color: "#dde3ea"
                Rectangle {
                    width: parent.width * display.percent / 100
                    height: parent.height
                    color: "#3b6ea5"
                }
            }
            Text {
                x: 12; y: 8
                text: display.label
                font.pixelSize: 16
            }
            Text {
                x: 12; y: 30
                text: display.addr.toString(16).padStart(6, "0").toUpperCase() + "   " + display.percent + " %"
                font.pixelSize: 12
                color: "#606060"
            }
        }
    }
}
