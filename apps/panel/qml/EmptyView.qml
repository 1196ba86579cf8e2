import QtQuick 2.15
import QtQuick.Templates 2.15 as T
import VoxPanel 1.0

// In place of shades while there are none: what is the matter, and what may help.
Flickable {
    id: empty

    readonly property var line: Panel.lines.length > 0 ? Panel.lines[0] : null
    readonly property bool isClosed: !!line && line.closed && Panel.canSend

    contentHeight: Math.max(height, content.height + 32)
    clip: true
    boundsBehavior: Flickable.StopAtBounds
    T.ScrollBar.vertical: Scroll { }
    Accessible.role: Accessible.Pane
    Accessible.name: heading.text

    Column {
        id: content

        anchors { horizontalCenter: parent.horizontalCenter; verticalCenter: parent.verticalCenter }
        width: Math.min(parent.width - 64, 480)
        spacing: 12

        Repeater {
            model: Panel.problems

            Banner {
                width: content.width
                title: qsTr("The file has a mistake")
                text: modelData
            }
        }
        // A window that nothing is known of. Beneath it is room for a caption that it does not have.
        Item {
            width: parent.width
            height: 136

            ShadePicture {
                anchors.horizontalCenter: parent.horizontalCenter
                width: 128
                height: 168
                dark: Theme.isDark
            }
        }
        Text {
            id: heading

            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            font: Theme.titleFont
            color: Theme.ink
            text: !empty.line ? qsTr("Which line is to be shown?")
                : empty.isClosed ? qsTr("%1 cannot be opened").arg(empty.line.busName)
                : empty.line.scanning ? qsTr("Looking for nodes on %1 …").arg(empty.line.busName)
                : qsTr("Nothing has answered on %1 yet").arg(empty.line.busName)
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            font: Theme.textFont
            color: Theme.ink2
            text: !empty.line ? qsTr("Choose the port that the line is on, or try a building that is simulated.")
                : empty.isClosed ? empty.line.problem
                : !Panel.canSend ? qsTr("This panel only listens. Nodes appear when another host asks them.")
                : empty.line.scanning ? qsTr("This takes about ten seconds.")
                : qsTr("Check the power of the nodes and the plug of the line. Motors of the older generation are found by their addresses, under Install.")
        }
        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 12

            TextButton {
                visible: !!empty.line && !empty.isClosed && Panel.canSend && !empty.line.scanning
                text: qsTr("Scan")
                onClicked: empty.line.scan()
            }
            TextButton {
                text: qsTr("Try the demo")
                onClicked: Panel.openDemo()
            }
        }
        Column {
            width: parent.width
            spacing: 4
            visible: !empty.line || empty.isClosed

            Text {
                width: parent.width
                topPadding: 12
                text: ports.count === 0 ? qsTr("This machine has no other serial port. An address of the network:")
                    : empty.line ? qsTr("Other ports of this machine, or an address of the network:")
                    : qsTr("Serial ports of this machine, or an address of the network:")
                font: Theme.smallFont
                color: Theme.ink2
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.Wrap
            }
            Repeater {
                id: ports

                // A port may be plugged in meanwhile.
                model: empty.visible ? Panel.ports() : []

                TextButton {
                    anchors.horizontalCenter: parent.horizontalCenter
                    text: modelData
                    onClicked: Panel.openBus(modelData)
                }
            }
            Row {
                anchors.horizontalCenter: parent.horizontalCenter
                spacing: 8

                TextField {
                    id: url

                    width: Math.min(300, content.width - open.width - 8)
                    placeholderText: "serial:///dev/ttyUSB0, udp://HOST:PORT"
                    name: qsTr("Bus")
                    onAccepted: Panel.openBus(text)
                }
                TextButton {
                    id: open

                    enabled: url.text !== ""
                    text: qsTr("Open")
                    onClicked: Panel.openBus(url.text)
                }
            }
        }
    }
}
