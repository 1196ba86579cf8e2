import QtQuick 2.15
import QtQuick.Templates 2.15 as T

// What one can do to a building that is not there.
Column {
    id: box

    spacing: 4

    Text {
        text: qsTr("Try it")
        font: Theme.sectionFont
        color: Theme.ink
    }
    Row {
        spacing: 8

        TextButton {
            width: (box.width - 8) / 2
            text: Panel.demo && Panel.demo.cut ? qsTr("Mend the line") : qsTr("Cut the line")
            onClicked: Panel.demo.cut = !Panel.demo.cut
        }
        TextButton {
            width: (box.width - 8) / 2
            text: qsTr("Kill a node")
            onClicked: Panel.demo.killAny()
        }
    }
    TextButton {
        width: (box.width - 8) / 2
        visible: !!Panel.demo && Panel.demo.killed > 0
        text: qsTr("Revive all")
        onClicked: Panel.demo.revive()
    }
    Item {
        width: parent.width
        height: 24

        Text {
            anchors.bottom: parent.bottom
            text: qsTr("The sun")
            font: Theme.smallFont
            color: Theme.ink2
        }
        Text {
            anchors { right: parent.right; bottom: parent.bottom }
            text: Qt.formatTime(new Date(2000, 0, 1, Math.floor(sun.value), Math.round(sun.value % 1 * 60)), "HH:mm")
            font: Theme.strongSmallFont
            color: Theme.ink
        }
    }
    T.Slider {
        id: sun

        width: parent.width
        height: Theme.button
        from: 6
        to: 20
        stepSize: 0.5
        value: Panel.demo ? Panel.demo.hour : 12
        leftPadding: 11
        rightPadding: 11
        onPressedChanged: if (!pressed && Panel.demo) Panel.demo.hour = value
        Keys.onReturnPressed: Panel.demo.hour = value
        Accessible.role: Accessible.Slider
        Accessible.name: qsTr("Hour of the sun")

        background: Item {
            Rectangle { anchors.verticalCenter: parent.verticalCenter; width: parent.width; height: 6; radius: 3; color: Theme.rule }
        }
        handle: Rectangle {
            x: sun.leftPadding + sun.visualPosition * sun.availableWidth - width / 2
            y: (sun.height - height) / 2
            width: 22; height: 22; radius: 11
            color: Theme.warningTint
            border { color: Theme.warning; width: 2 }
            FocusRing { shown: sun.visualFocus }
        }
    }
}
