import QtQuick 2.15
import Vox 1.0

// The nodes of a bus as tiles, with a line above them that says how the line is.
Rectangle {
    id: page

    property alias bus: network.bus
    property string said: ""

    width: 1000
    height: 640
    color: "#eef1f5"

    Network {
        id: network

        bus: "udp://127.0.0.1:4800?local=4801"
        onLineChanged: if (line === Network.Open) discover()
        onDiscovered: function(count) { if (count > 0) page.said = "Found " + count + (count === 1 ? " node" : " nodes") }
        onNoticed: function(sentence) { page.said = sentence }
    }

    Rectangle {
        id: head

        width: parent.width
        height: 64
        color: "white"

        Text {
            x: 20
            y: 11
            text: tiles.count + (tiles.count === 1 ? " node" : " nodes")
            font { pixelSize: 18; bold: true }
            color: "#1f2a37"
        }
        Text {
            x: 20
            y: 36
            width: buttons.x - 40
            elide: Text.ElideRight
            text: network.lineProblem || network.planStretch || page.said || "The line is open"
            color: network.line === Network.Open ? "#5b6878" : "#b42318"
            font.pixelSize: 13
        }
        Row {
            id: buttons

            anchors { right: parent.right; rightMargin: 20; verticalCenter: parent.verticalCenter }
            spacing: 10

            TextButton {
                objectName: "search"
                text: "Search"
                onClicked: network.discover()
            }
            TextButton {
                objectName: "stopAll"
                text: "Stop all"
                onClicked: network.stopAll().finished.connect(function(motion) { page.said = motion.sentence || "All have stopped" })
            }
        }
        Rectangle {
            width: parent.width
            height: 1
            anchors.bottom: parent.bottom
            color: "#d9dfe7"
        }
    }

    GridView {
        id: tiles

        readonly property int columns: Math.max(1, Math.floor(width / 236))

        anchors { fill: parent; topMargin: head.height + 12; leftMargin: 14; rightMargin: 14 }
        cellWidth: width / columns
        cellHeight: 154
        clip: true
        model: NetworkModel { network: network }
        delegate: Item {
            id: cell

            required property Node node
            required property Motor motor
            readonly property GridView grid: GridView.view as GridView

            width: grid.cellWidth
            height: grid.cellHeight

            Tile {
                anchors { fill: parent; margins: 6 }
                node: cell.node
                motor: cell.motor
            }
        }
    }
}
