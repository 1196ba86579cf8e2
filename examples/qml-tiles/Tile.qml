import QtQuick 2.15
import QtQuick.Controls 2.15
import Vox 1.0

// One node: who it is, how it stands, and if it is a motor, a slider that moves it.
Rectangle {
    id: tile

    property Node node
    property Motor motor
    readonly property bool isLost: !node || node.presence === Node.Down
    // What the last command has come to, as long as nothing newer is known.
    property string outcome: ""
    readonly property string problem: {
        if (isLost)
            return "Does not answer. Is it powered?"
        if (node && node.presence === Node.Shaky)
            return "Has missed a call; asked again."
        if (motor && motor.state === KVRMotor.STATE_BLOCKED)
            return "Blocked: something is in its way."
        return outcome
    }

    function words() {
        if (!motor)
            return node && node.presence === Node.Up ? "Answers" : "Not asked yet"
        if (motor.percent === undefined)
            return motor.legacy ? "Does not tell where it is" : "Position unknown"
        var words = motor.estimatedPercent + " %"
        if (motor.moving)
            words += motor.targetPercent === undefined ? ", moving" : " → " + motor.targetPercent + " %"
        return motor.locked ? words + ", locked" : words
    }
    function follow(motion) {
        outcome = ""
        motion.finished.connect(function(ended) {
            if (ended.end !== Motion.Replaced && ended.end !== Motion.Stopped)
                tile.outcome = ended.sentence
            slider.value = slider.place
        })
    }

    radius: 8
    color: "white"
    border.color: problem ? "#f0b4ae" : "#d9dfe7"

    // The window: the blind comes down from above.
    Rectangle {
        id: window

        x: 14
        y: 14
        width: 42
        height: 56
        radius: 3
        color: tile.isLost ? "#eef1f5" : "#cfe6fb"
        border.color: "#aab4c0"
        clip: true

        Rectangle {
            objectName: "blind"
            x: 1
            y: 1
            width: parent.width - 2
            height: (parent.height - 2) * (tile.motor && tile.motor.estimatedPercent || 0) / 100
            color: tile.isLost ? "#c9d0d9" : "#5b7fa6"
        }
        Text {
            anchors.centerIn: parent
            visible: !tile.motor || tile.motor.percent === undefined
            text: tile.motor ? "?" : "•••"
            color: "#5b6878"
        }
    }
    Column {
        anchors { left: window.right; leftMargin: 12; right: dot.left; rightMargin: 6; verticalCenter: window.verticalCenter }
        spacing: 3

        Text {
            width: parent.width
            elide: Text.ElideRight
            text: tile.node ? tile.node.label || tile.node.addressText : ""
            font { pixelSize: 15; bold: true }
            color: "#1f2a37"
        }
        Text {
            text: tile.node ? tile.node.addressText + "  " + tile.node.type : ""
            font.pixelSize: 11
            color: "#7b8794"
        }
        Text {
            objectName: "words"
            width: parent.width
            elide: Text.ElideRight
            text: tile.words()
            font.pixelSize: 13
            color: "#1f2a37"
        }
    }
    Rectangle {
        id: dot

        anchors { right: parent.right; top: parent.top; margins: 14 }
        width: 10
        height: 10
        radius: 5
        color: !tile.node || tile.node.presence === Node.Unknown ? "#c9d0d9"
             : tile.node.presence === Node.Up ? "#2e9e5b"
             : tile.node.presence === Node.Shaky ? "#e0a100" : "#b42318"
    }
    Slider {
        id: slider

        // Where the motor goes, or else where it is.
        readonly property real place: tile.motor ? tile.motor.targetPercent ?? tile.motor.percent ?? 0 : 0

        objectName: "slider"
        anchors { left: parent.left; leftMargin: 14; right: stop.left; rightMargin: 10; top: window.bottom; topMargin: 8 }
        height: 26
        padding: 0
        visible: tile.motor
        enabled: !tile.isLost
        from: 0
        to: 100
        stepSize: 1
        background: Rectangle {
            y: slider.height / 2 - 2
            width: slider.width
            height: 4
            radius: 2
            color: "#d9dfe7"

            Rectangle {
                width: slider.visualPosition * parent.width
                height: parent.height
                radius: 2
                color: slider.enabled ? "#3b6ea5" : "#aab4c0"
            }
        }
        handle: Rectangle {
            x: slider.visualPosition * (slider.width - width)
            y: (slider.height - height) / 2
            width: 16
            height: 16
            radius: 8
            color: slider.pressed ? "#eef1f5" : "white"
            border { color: slider.enabled ? "#3b6ea5" : "#aab4c0"; width: slider.visualFocus ? 2 : 1 }
        }
        onPlaceChanged: if (!pressed) value = place
        onPressedChanged: if (!pressed) tile.follow(tile.motor.moveTo(value))
    }
    TextButton {
        id: stop

        objectName: "stop"
        anchors { right: parent.right; rightMargin: 14; verticalCenter: slider.verticalCenter }
        visible: tile.motor
        text: "Stop"
        onClicked: tile.follow(tile.motor.stop())
    }
    Text {
        objectName: "problem"
        x: 14
        width: parent.width - 28
        anchors { top: slider.bottom; topMargin: 4 }
        wrapMode: Text.Wrap
        maximumLineCount: 2
        elide: Text.ElideRight
        text: tile.problem
        font.pixelSize: 12
        color: "#b42318"
    }
}
