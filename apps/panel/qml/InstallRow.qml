import QtQuick 2.15
import QtQuick.Templates 2.15 as T
import Vox 1.0

// A node of the table.
Item {
    id: row

    property var table
    property var nodeLine
    readonly property var item: model.node
    readonly property bool bad: model.presence === Node.Down || doubled
    property bool doubled: false
    property string limits: ""
    property bool checked: false
    property bool isLabelling: false

    function winkAndGoOn() {
        if (model.isMotor)
            item.wink()
        ListView.view.incrementCurrentIndex()
    }
    function beginLabel() {
        ListView.view.currentIndex = index
        isLabelling = true
        editor.text = model.label
        editor.forceActiveFocus()
        editor.selectAll()
    }
    function writeLabel() {
        item.setLabel(editor.text)
        endLabel()
    }
    function endLabel() {
        isLabelling = false
        ListView.view.forceActiveFocus()
    }
    function check() {
        checked = !checked
        Panel.setChecked(nodeLine, model.address, checked)
    }
    function look() {
        checked = Panel.isChecked(nodeLine, model.address)
        doubled = Panel.isDoubled(nodeLine, model.address)
        limits = Panel.limitsOf(nodeLine, model.address)
    }

    height: Theme.tableRow
    Component.onCompleted: look()
    Accessible.role: Accessible.Row
    Accessible.name: [model.addressText, model.label, state_, checked ? qsTr("checked") : ""].join(" ").trim()
    Accessible.focused: ListView.isCurrentItem && ListView.view.activeFocus

    Connections {
        target: Panel
        function onTold() { row.look() }
    }
    Connections {
        target: StopKey
        function onPressed() { if (row.isLabelling) row.endLabel() }
    }
    Rectangle {
        anchors.fill: parent
        color: row.ListView.isCurrentItem ? Theme.page : "transparent"

        Rectangle {
            visible: row.ListView.isCurrentItem
            width: 3
            height: parent.height
            color: row.ListView.view.activeFocus || row.isLabelling ? Theme.accent : Theme.outline
        }
    }
    Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: Theme.rule }
    MouseArea {
        anchors.fill: parent
        onClicked: { row.ListView.view.currentIndex = index; row.ListView.view.forceActiveFocus() }
        onDoubleClicked: if (Panel.canSend) row.beginLabel()
    }

    readonly property string state_: doubled ? qsTr("two nodes have it") : model.presence === Node.Down ? qsTr("no answer")
        : model.presence === Node.Unknown ? qsTr("not asked yet") : model.presence === Node.Shaky ? qsTr("answers badly")
        : model.moving ? qsTr("moving") : model.percent === undefined ? qsTr("answers") : qsTr("%1 % down").arg(model.percent)
    Row {
        x: 12
        height: parent.height

        Repeater {
            model: [row.item ? row.item.addressText : "", row.item ? row.item.label : "", row.item ? row.item.type : "",
                    row.item ? row.item.appVersion : "", row.limits, row.state_]

            Text {
                // A sign stands before what is wrong.
                readonly property bool isBad: row.doubled && index === 0 || row.bad && index === 5

                width: row.table.widthOf(index)
                visible: width > 0
                leftPadding: isBad && index === 5 ? 20 : 0
                rightPadding: 8
                height: parent.height
                text: modelData
                font: index === 1 || isBad ? Theme.strongSmallFont : Theme.smallFont
                color: isBad ? Theme.bad : row.checked ? Theme.ok : index < 2 ? Theme.ink : Theme.ink2
                verticalAlignment: Text.AlignVCenter
                elide: Text.ElideMiddle

                Sign {
                    visible: parent.isBad && index === 5
                    anchors.verticalCenter: parent.verticalCenter
                    name: "cross"
                    size: 16
                    colour: Theme.bad
                }
            }
        }
    }
    T.AbstractButton {
        x: 12 + row.table.leftOf(6)
        width: row.table.widthOf(6)
        height: parent.height
        focusPolicy: Qt.NoFocus
        onClicked: row.check()
        Accessible.role: Accessible.CheckBox
        Accessible.name: qsTr("%1 checked").arg(row.item ? row.item.addressText : "")
        Accessible.checked: row.checked
        Accessible.checkable: true
        Accessible.onPressAction: row.check()
        Accessible.onToggleAction: row.check()

        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
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
        x: 12 + row.table.widthOf(0) - 10
        y: (row.height - height) / 2
        width: Math.min(240, row.table.widthOf(1))
        maximumLength: 16
        name: qsTr("New label")
        onAccepted: row.writeLabel()
        onActiveFocusChanged: if (!activeFocus) row.isLabelling = false
    }
}
