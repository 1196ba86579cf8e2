import QtQuick 2.15
import QtQuick.Templates 2.15 as T

// The time of a recording.
Rectangle {
    id: bar

    readonly property var replay: Panel.replay
    readonly property var speeds: [1, 2, 5, 10, 20, 50, 100]

    implicitHeight: 56
    color: Theme.surface
    Accessible.role: Accessible.ToolBar
    Accessible.name: qsTr("Replay")

    Rectangle { width: parent.width; height: 1; color: Theme.rule }
    TextButton {
        id: play

        anchors { left: parent.left; leftMargin: Theme.margin; verticalCenter: parent.verticalCenter }
        width: 104
        sign: bar.replay && bar.replay.playing ? "pause" : "play"
        text: bar.replay && bar.replay.playing ? qsTr("Pause") : qsTr("Play")
        onClicked: bar.replay.playing = !bar.replay.playing
    }
    Text {
        id: time

        anchors { left: play.right; leftMargin: 12; verticalCenter: parent.verticalCenter }
        width: 64
        text: bar.replay ? bar.replay.time : ""
        font: Theme.strongTextFont
        color: Theme.ink
    }
    T.Slider {
        id: slider

        anchors { left: time.right; leftMargin: 8; right: speed.left; rightMargin: 12; verticalCenter: parent.verticalCenter }
        height: Theme.button
        from: 0
        to: bar.replay ? Math.max(1, bar.replay.duration) : 1
        leftPadding: 11
        rightPadding: 11
        onMoved: bar.replay.position = value
        Accessible.role: Accessible.Slider
        Accessible.name: qsTr("Time of the recording")

        Connections {
            target: bar.replay
            function onPositionChanged() { if (!slider.pressed) slider.value = bar.replay.position }
        }

        background: Item {
            Rectangle {
                anchors.verticalCenter: parent.verticalCenter
                width: parent.width
                height: 6
                radius: 3
                color: Theme.rule

                Rectangle { width: slider.handle.x + 11; height: 6; radius: 3; color: Theme.accent }
            }
        }
        handle: Rectangle {
            x: slider.leftPadding + slider.visualPosition * slider.availableWidth - width / 2
            y: (slider.height - height) / 2
            width: 22; height: 22; radius: 11
            color: Theme.surface
            border { color: Theme.accent; width: 2 }
            FocusRing { shown: slider.visualFocus }
        }
    }
    TextButton {
        id: speed

        anchors { right: parent.right; rightMargin: Theme.margin; verticalCenter: parent.verticalCenter }
        width: 96
        text: bar.replay ? qsTr("× %1").arg(bar.replay.speed) : ""
        Accessible.name: qsTr("Speed, × %1").arg(bar.replay ? bar.replay.speed : 1)
        onClicked: bar.replay.speed = bar.speeds[(bar.speeds.indexOf(bar.replay.speed) + 1) % bar.speeds.length]
    }
}
