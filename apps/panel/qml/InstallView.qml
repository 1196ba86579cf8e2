import QtQuick 2.15
import QtQuick.Templates 2.15 as T
import Vox 1.0

// The nodes of a line as a table: to find them, name them, and mark them as checked.
FocusScope {
    id: view

    property int index: 0
    readonly property var line: Panel.lines.length > index ? Panel.lines[index] : null
    property string said: ""
    readonly property bool isScanning: !!line && line.scanning
    readonly property var columns: [
        { name: qsTr("Address"), width: 84 }, { name: qsTr("Label"), width: 150 }, { name: qsTr("Type"), width: 80 },
        { name: qsTr("Version"), width: 110 }, { name: qsTr("Limits, pulses"), width: 110 }, { name: qsTr("State"), width: 140 },
        { name: qsTr("Checked"), width: 70 }
    ]
    readonly property int room: list.width - 28
    // On a small window it is the address that tells nodes apart, not what they are.
    readonly property bool isNarrow: room < sumOf(columns.length, false)
    readonly property real stretch: Math.max(0.8, room / sumOf(columns.length, isNarrow))

    function sumOf(count, isNarrow) {
        let sum = 0
        for (let i = 0; i < count; ++i)
            sum += isNarrow && (i === 2 || i === 3) ? 0 : columns[i].width
        return sum
    }
    function widthOf(column) {
        return isNarrow && (column === 2 || column === 3) ? 0 : Math.floor(columns[column].width * stretch)
    }
    function leftOf(column) {
        let left = 0
        for (let i = 0; i < column; ++i)
            left += widthOf(i)
        return left
    }
    function plainName(text) {
        return text.replace(/\.(csv|json)$/i, "")
    }

    onIsScanningChanged: if (isScanning) said = ""

    Accessible.role: Accessible.Pane
    Accessible.name: qsTr("Install")

    Network {
        id: network

        // Nobody draws what is not seen.
        source: view.visible && view.line ? view.line.network : null
    }
    NetworkModel {
        id: nodes

        network: network
    }

    Flow {
        id: bar

        anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.margin }
        spacing: 8

        LineTabs {
            index: view.index
            onChosen: function(line) { view.index = line; view.said = "" }
        }
        TextButton {
            enabled: Panel.canSend && !!view.line && !view.isScanning
            text: qsTr("Scan")
            onClicked: view.line.scan()
        }
        TextField { id: first; width: 116; placeholderText: qsTr("from 000101"); name: qsTr("First address"); maximumLength: 6 }
        TextField { id: last; width: 116; placeholderText: qsTr("to 00013C"); name: qsTr("Last address"); maximumLength: 6; onAccepted: range.clicked() }
        TextButton {
            id: range

            enabled: Panel.canSend && !!view.line && !view.isScanning && first.text !== ""
            text: qsTr("Search")
            Accessible.name: qsTr("Search addresses")
            onClicked: view.line.scanRange(first.text, last.text === "" ? first.text : last.text)
        }
        TextField { id: file; width: 230; name: qsTr("File to export to"); placeholderText: qsTr("File to export to"); text: Panel.lines.length > 0 ? Panel.exportName() : "" }
        TextButton {
            enabled: nodes.count > 0 && file.text !== ""
            text: qsTr("Export CSV")
            onClicked: view.said = Panel.exportCsv(view.plainName(file.text) + ".csv")
        }
        TextButton {
            enabled: nodes.count > 0 && file.text !== ""
            text: qsTr("Export site file")
            onClicked: view.said = Panel.exportSite(view.plainName(file.text) + ".json")
        }
    }
    Item {
        id: status

        anchors { left: parent.left; right: parent.right; leftMargin: Theme.margin; rightMargin: Theme.margin; top: bar.bottom }
        height: Theme.button

        Rectangle {
            id: progress

            readonly property real share: view.line ? view.line.scanProgress : -1

            visible: view.isScanning && share >= 0
            anchors.verticalCenter: parent.verticalCenter
            width: visible ? 160 : 0
            height: 6
            radius: 3
            color: Theme.rule
            Accessible.role: Accessible.ProgressBar
            Accessible.name: qsTr("Addresses asked, in percent")
            Rectangle { width: Math.max(6, parent.width * parent.share); height: 6; radius: 3; color: Theme.accent }
        }
        Text {
            anchors { left: progress.right; leftMargin: progress.visible ? 12 : 0; right: actions.left; rightMargin: 16; verticalCenter: parent.verticalCenter }
            text: view.said !== "" ? view.said
                : progress.visible ? qsTr("%1 % of the addresses asked, %2 nodes so far").arg(Math.floor(100 * progress.share)).arg(nodes.count)
                : view.isScanning ? qsTr("Scanning, %1 nodes so far …").arg(nodes.count)
                : view.line && view.line.scanResult !== "" ? view.line.scanResult
                : nodes.count === 1 ? qsTr("1 node") : qsTr("%1 nodes").arg(nodes.count)
            font: Theme.smallFont
            color: Theme.ink2
            elide: Text.ElideMiddle
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        // What the keys do with the row that is chosen, for fingers.
        Row {
            id: actions

            anchors { right: parent.right; verticalCenter: parent.verticalCenter }
            visible: nodes.count > 0
            spacing: 16

            Repeater {
                model: Panel.canSend ? [{ key: "W", text: qsTr("Wink, and next") }, { key: "L", text: qsTr("Label") }, { key: "C", text: qsTr("Checked") }]
                                     : [{ key: "C", text: qsTr("Checked") }]

                LinkButton {
                    height: Theme.button
                    text: qsTr("%1  (%2)").arg(modelData.text).arg(modelData.key)
                    onClicked: list.act(modelData.key)
                }
            }
        }
    }
    Rectangle {
        anchors { fill: parent; margins: Theme.margin; topMargin: status.y + status.height }
        color: Theme.surface
        border { color: Theme.rule; width: 1 }
        radius: Theme.radius

        Row {
            id: header

            x: 13
            height: 32

            Repeater {
                model: view.columns

                Text {
                    width: view.widthOf(index)
                    visible: width > 0
                    height: parent.height
                    text: modelData.name
                    elide: Text.ElideRight
                    font: Theme.strongSmallFont
                    color: Theme.ink2
                    verticalAlignment: Text.AlignVCenter
                }
            }
        }
        Rectangle { y: header.height; width: parent.width; height: 1; color: Theme.rule }
        ListView {
            id: list

            function act(key) {
                if (!currentItem || !Panel.canSend && key !== "C")
                    return false
                if (key === "W")
                    currentItem.winkAndGoOn()
                else if (key === "L")
                    currentItem.beginLabel()
                else if (key === "C")
                    currentItem.check()
                return key === "W" || key === "L" || key === "C"
            }

            anchors { fill: parent; margins: 1; topMargin: header.height + 1 }
            model: nodes
            clip: true
            focus: true
            activeFocusOnTab: true
            boundsBehavior: Flickable.StopAtBounds
            currentIndex: 0
            highlightMoveDuration: 0
            Accessible.role: Accessible.Table
            Accessible.name: qsTr("Nodes")
            T.ScrollBar.vertical: Scroll { }
            Keys.onPressed: function(event) {
                if (event.key === Qt.Key_Home)
                    currentIndex = 0
                else if (event.key === Qt.Key_End)
                    currentIndex = count - 1
                else if (event.modifiers & Qt.ControlModifier || !act(event.text.toUpperCase()))
                    return
                event.accepted = true
            }

            delegate: InstallRow {
                table: view
                nodeLine: view.line
                width: list.width
            }
        }
        Text {
            anchors { centerIn: parent }
            width: Math.min(implicitWidth, parent.width - 32)
            visible: nodes.count === 0
            text: qsTr("No node yet. Scan the line, or search a range of addresses.")
            font: Theme.textFont
            color: Theme.ink2
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
        }
    }
}
