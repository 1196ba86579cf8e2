import QtQuick 2.15
import QtQuick.Templates 2.15 as T
import Vox 1.0

// The nodes of a line as a table: to find them, name them, and mark them as checked.
FocusScope {
    id: view

    property int index: 0
    readonly property var line: Panel.lines.length > index ? Panel.lines[index] : null
    property string said: ""
    readonly property var columns: [
        { name: qsTr("Address"), width: 84 }, { name: qsTr("Label"), width: 0 }, { name: qsTr("Type"), width: 80 },
        { name: qsTr("Version"), width: 124 }, { name: qsTr("Limits, pulses"), width: 120 }, { name: qsTr("State"), width: 110 },
        { name: qsTr("Checked"), width: 76 }
    ]
    readonly property int fixed: 594

    function widthOf(column) {
        return columns[column].width || Math.max(120, list.width - fixed - 24)
    }

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

        Repeater {
            model: Panel.lines.length > 1 ? Panel.lines : []

            TextButton {
                text: modelData.name
                colour: view.index === index ? Theme.accent : Theme.surface
                ink: view.index === index ? Theme.onAccent : Theme.ink
                onClicked: view.index = index
            }
        }
        TextButton {
            enabled: Panel.canSend && !!view.line && !view.line.scanning
            text: view.line && view.line.scanning ? qsTr("Scanning …") : qsTr("Scan")
            onClicked: view.line.scan()
        }
        TextField { id: first; width: 96; placeholderText: "000101"; name: qsTr("First address"); maximumLength: 6 }
        TextField { id: last; width: 96; placeholderText: "00013C"; name: qsTr("Last address"); maximumLength: 6; onAccepted: range.clicked() }
        TextButton {
            id: range

            enabled: Panel.canSend && !!view.line && first.text !== ""
            text: qsTr("Search addresses")
            onClicked: view.line.scanRange(first.text, last.text === "" ? first.text : last.text)
        }
        TextField { id: file; width: 240; name: qsTr("File to export to"); placeholderText: qsTr("File to export to"); text: "site.csv" }
        TextButton {
            enabled: nodes.count > 0 && file.text !== ""
            text: qsTr("Export CSV")
            onClicked: view.said = Panel.exportCsv(file.text)
        }
        TextButton {
            enabled: nodes.count > 0 && file.text !== ""
            text: qsTr("Export site file")
            onClicked: view.said = Panel.exportSite(file.text.replace(/\.csv$/, ".json"))
        }
    }
    Text {
        id: status

        anchors { left: parent.left; right: parent.right; leftMargin: Theme.margin; rightMargin: Theme.margin; top: bar.bottom; topMargin: 8 }
        text: view.said !== "" ? view.said
            : view.line && view.line.scanning ? qsTr("Scanning: %1 nodes so far").arg(nodes.count)
            : view.line && view.line.scanResult !== "" ? view.line.scanResult
            : qsTr("%1 nodes. W winks and goes to the next, L writes the label, C marks as checked.").arg(nodes.count)
        font: Theme.smallFont
        color: Theme.ink2
        elide: Text.ElideMiddle
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    Rectangle {
        anchors { fill: parent; margins: Theme.margin; topMargin: bar.height + status.height + 2 * Theme.margin + 4 }
        color: Theme.surface
        border { color: Theme.rule; width: 1 }
        radius: Theme.radius
        clip: true

        Row {
            id: header

            x: 12
            height: 32

            Repeater {
                model: view.columns

                Text {
                    width: view.widthOf(index)
                    height: parent.height
                    text: modelData.name
                    font: Theme.strongSmallFont
                    color: Theme.ink2
                    verticalAlignment: Text.AlignVCenter
                }
            }
        }
        Rectangle { y: header.height; width: parent.width; height: 1; color: Theme.rule }
        ListView {
            id: list

            anchors { fill: parent; topMargin: header.height + 1 }
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
                if (!currentItem || !Panel.canSend || event.modifiers & Qt.ControlModifier)
                    return
                event.accepted = true
                if (event.key === Qt.Key_W)
                    currentItem.winkAndGoOn()
                else if (event.key === Qt.Key_L)
                    currentItem.beginLabel()
                else if (event.key === Qt.Key_C)
                    currentItem.check()
                else
                    event.accepted = false
            }

            delegate: Item {
                id: row

                readonly property var item: model.node
                readonly property bool bad: model.presence === Node.Down
                property bool checked: Panel.isChecked(view.line, model.address)
                property bool isLabelling: false

                function winkAndGoOn() {
                    if (model.isMotor)
                        item.wink()
                    list.incrementCurrentIndex()
                }
                function beginLabel() {
                    list.currentIndex = index
                    isLabelling = true
                    editor.text = model.label
                    editor.forceActiveFocus()
                }
                function writeLabel() {
                    item.setLabel(editor.text)
                    isLabelling = false
                    list.forceActiveFocus()
                }
                function check() {
                    checked = !checked
                    Panel.setChecked(view.line, model.address, checked)
                }

                width: list.width
                height: Theme.tableRow
                Accessible.role: Accessible.Row
                Accessible.name: model.addressText + " " + model.label

                Rectangle {
                    anchors.fill: parent
                    color: row.ListView.isCurrentItem ? Theme.page : "transparent"
                }
                Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: Theme.rule }
                MouseArea {
                    anchors.fill: parent
                    onClicked: { list.currentIndex = index; list.forceActiveFocus() }
                    onDoubleClicked: row.beginLabel()
                }
                Row {
                    x: 12
                    height: parent.height

                    Repeater {
                        model: [row.item ? row.item.addressText : "", row.item ? row.item.label : "", row.item ? row.item.type : "",
                                row.item ? row.item.appVersion : "", row.limits, row.state_]

                        Text {
                            width: view.widthOf(index)
                            rightPadding: 8
                            height: parent.height
                            text: modelData
                            font: index === 1 ? Theme.strongSmallFont : Theme.smallFont
                            color: row.bad && index === 5 ? Theme.bad : row.checked ? Theme.ok : index === 0 || index === 1 ? Theme.ink : Theme.ink2
                            verticalAlignment: Text.AlignVCenter
                            elide: Text.ElideMiddle
                        }
                    }
                }
                readonly property string limits: !item || item.downLimit === undefined ? (model.percent === undefined ? qsTr("not set") : qsTr("not read yet")) : item.upLimit + " … " + item.downLimit
                readonly property string state_: model.presence === Node.Down ? qsTr("no answer") : model.presence === Node.Unknown ? qsTr("not asked yet")
                    : model.presence === Node.Shaky ? qsTr("answers badly") : model.moving ? qsTr("moving")
                    : model.percent === undefined ? qsTr("answers") : qsTr("%1 % down").arg(model.percent)

                T.AbstractButton {
                    anchors { right: parent.right; rightMargin: 24 }
                    width: Theme.button
                    height: parent.height
                    focusPolicy: Qt.NoFocus
                    onClicked: row.check()
                    Accessible.role: Accessible.CheckBox
                    Accessible.name: qsTr("%1 checked").arg(row.item ? row.item.addressText : "")
                    Accessible.checked: row.checked
                    Accessible.checkable: true

                    Rectangle {
                        anchors.centerIn: parent
                        width: 20
                        height: 20
                        radius: 4
                        color: row.checked ? Theme.okTint : "transparent"
                        border { color: row.checked ? Theme.ok : Theme.outline; width: 1 }

                        Sign { anchors.centerIn: parent; visible: row.checked; name: "check"; size: 16; colour: Theme.ok }
                    }
                }
                TextField {
                    id: editor

                    visible: row.isLabelling
                    x: 12 + 84 - 10
                    y: -4
                    width: view.widthOf(1)
                    maximumLength: 16
                    name: qsTr("New label")
                    onAccepted: row.writeLabel()
                    onActiveFocusChanged: if (!activeFocus) row.isLabelling = false
                }
            }
        }
        Text {
            anchors.centerIn: parent
            visible: nodes.count === 0
            text: qsTr("No node yet. Scan the line, or search a range of addresses.")
            font: Theme.textFont
            color: Theme.ink2
        }
    }
}
