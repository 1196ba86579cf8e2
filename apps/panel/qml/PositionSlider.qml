import QtQuick 2.15
import QtQuick.Templates 2.15 as T

// Sends a position when it is let go. Shows the last reading until then.
Item {
    id: control

    property int reading: -1
    readonly property alias pressed: slider.pressed
    readonly property alias value: slider.value
    signal chosen(int percent)

    implicitHeight: 64
    // What is being chosen, or has just been chosen, does not jump back.
    onReadingChanged: if (!slider.pressed && !held.running && reading >= 0) slider.value = reading
    // Of another shade nothing has been chosen yet.
    function forget() { held.stop(); slider.value = Math.max(0, reading) }

    Timer { id: held; interval: 4000; onTriggered: if (control.reading >= 0) slider.value = control.reading }

    T.Slider {
        id: slider

        function send() { held.restart(); control.chosen(Math.round(value)) }

        width: parent.width
        height: Theme.button
        from: 0
        to: 100
        stepSize: 1
        leftPadding: 11
        rightPadding: 11
        focusPolicy: Qt.StrongFocus
        onPressedChanged: if (!pressed) send()
        Keys.onReturnPressed: send()
        Keys.onLeftPressed: { value = Math.max(0, value - 5); held.restart() }
        Keys.onRightPressed: { value = Math.min(100, value + 5); held.restart() }
        Accessible.role: Accessible.Slider
        Accessible.name: qsTr("Position, percent down")

        background: Item {
            Rectangle {
                x: 0
                anchors.verticalCenter: parent.verticalCenter
                width: parent.width
                height: 6
                radius: 3
                color: Theme.rule

                Rectangle {
                    visible: control.reading >= 0 || slider.pressed || held.running
                    width: slider.handle.x + slider.handle.width / 2
                    height: parent.height
                    radius: 3
                    color: Theme.accent
                }
            }
        }
        handle: Rectangle {
            x: slider.leftPadding + slider.visualPosition * (slider.availableWidth) - width / 2
            y: (slider.height - height) / 2
            width: 22
            height: 22
            radius: 11
            color: Theme.surface
            border { color: control.reading >= 0 || slider.pressed || held.running ? Theme.accent : Theme.outline; width: 2 }
            FocusRing { shown: slider.visualFocus }
        }
    }
    Repeater {
        model: [qsTr("up"), "25", "50", "75", qsTr("down")]

        Text {
            y: 42
            x: Math.max(0, Math.min(control.width - width, 11 + (control.width - 22) * index / 4 - width / 2))
            text: modelData
            font: Theme.tinyFont
            color: Theme.ink2
        }
    }
}
