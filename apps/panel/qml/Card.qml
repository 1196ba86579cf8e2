import QtQuick 2.15
import QtQuick.Templates 2.15 as T

// What has been chosen on the façade, and what it can be told.
Column {
    id: card

    readonly property var shade: Panel.selection.only
    readonly property int count: Panel.selection.count
    property bool isLabelling: false
    readonly property int mostRefusals: 3
    readonly property int buttonWidth: Math.min(64, Math.floor((width - 48 - 3 * 8) / 3))

    spacing: 0
    visible: count > 0

    Accessible.role: Accessible.Grouping
    Accessible.name: title.text

    onShadeChanged: isLabelling = false

    function age(ms) {
        if (ms < 0)
            return qsTr("not read yet")
        const seconds = Math.floor(ms / 1000)
        return seconds < 60 ? qsTr("read %1 s ago").arg(seconds) : qsTr("read %1 min ago").arg(Math.floor(seconds / 60))
    }

    Text {
        id: title

        width: parent.width
        text: card.shade ? card.shade.label || card.shade.addressText : qsTr("%1 shades").arg(card.count)
        font: Theme.sectionFont
        color: Theme.ink
        elide: Text.ElideMiddle
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
    Text {
        width: parent.width
        topPadding: 4
        bottomPadding: 10
        text: card.shade ? [card.shade.addressText, card.shade.typeName, Panel.facadeOf(card.shade)].join("  ")
                         : Panel.selection.way
        font: Theme.smallFont
        color: Theme.ink2
        elide: Text.ElideRight
    }
    Row {
        visible: Panel.canSend
        spacing: 8

        TextButton {
            width: card.buttonWidth; height: 56
            stacked: true
            sign: "up"
            text: qsTr("Up")
            onClicked: Panel.selection.moveUp()
        }
        TextButton {
            width: card.buttonWidth; height: 56
            stacked: true
            sign: "stop"
            text: qsTr("Stop")
            colour: Theme.stopButton
            ink: Theme.onStopButton
            edge: "transparent"
            onClicked: Panel.selection.stop()
        }
        TextButton {
            width: card.buttonWidth; height: 56
            stacked: true
            sign: "down"
            text: qsTr("Down")
            onClicked: Panel.selection.moveDown()
        }
        TextButton {
            width: 48; height: 56
            stacked: true
            sign: "wink"
            signSize: 18
            text: qsTr("Wink")
            onClicked: Panel.selection.wink()
        }
    }
    Item {
        width: parent.width
        height: 32

        Text {
            anchors { left: parent.left; bottom: parent.bottom; bottomMargin: 4 }
            text: qsTr("Position")
            font: Theme.smallFont
            color: Theme.ink2
        }
        Text {
            anchors { right: parent.right; bottom: parent.bottom; bottomMargin: 4 }
            text: slider.pressed ? qsTr("to %1 % down").arg(Math.round(slider.value)) : card.told
            font: Theme.strongSmallFont
            color: slider.pressed ? Theme.accent : Theme.ink
        }
    }
    PositionSlider {
        id: slider

        visible: Panel.canSend
        width: parent.width
        reading: card.reading
        onChosen: function(percent) { Panel.selection.moveTo(percent) }
    }
    Item { width: 1; height: 8 }
    Repeater {
        model: Panel.selection.refusals.slice(0, card.mostRefusals)

        Item {
            width: card.width
            height: block.height + 8

            Rectangle {
                id: block

                width: parent.width
                height: words.height + 20
                radius: Theme.radius
                color: Theme.warningTint
                Accessible.role: Accessible.AlertMessage
                Accessible.name: heading.text + ". " + sentence.text

                Column {
                    id: words

                    x: 12
                    y: 10
                    width: parent.width - 24
                    spacing: 2

                    Text {
                        id: heading

                        width: parent.width
                        text: card.shade ? qsTr("Refused %1 s ago").arg(modelData.seconds)
                                         : qsTr("%1, %2 s ago").arg(modelData.name).arg(modelData.seconds)
                        font: Theme.strongTextFont
                        color: Theme.warning
                        elide: Text.ElideMiddle
                    }
                    Text {
                        id: sentence

                        width: parent.width
                        wrapMode: Text.Wrap
                        text: modelData.sentence
                        font: Theme.smallFont
                        color: Theme.ink
                    }
                }
            }
        }
    }
    Text {
        visible: Panel.selection.refusals.length > card.mostRefusals
        bottomPadding: 8
        text: qsTr("and %1 more refusals").arg(Panel.selection.refusals.length - card.mostRefusals)
        font: Theme.smallFont
        color: Theme.ink2
    }
    Row {
        visible: Panel.canSend && !card.isLabelling
        spacing: 12

        TextButton {
            width: (card.width - 12) / 2
            visible: card.isLocked
            text: qsTr("Unlock")
            onClicked: Panel.selection.unlock()
        }
        TextButton {
            width: (card.width - 12) / 2
            visible: !!card.shade
            text: qsTr("Write label …")
            onClicked: { card.isLabelling = true; label.text = card.shade.label; label.forceActiveFocus() }
        }
        TextButton {
            width: (card.width - 12) / 2
            visible: !card.isLocked || !card.shade
            text: qsTr("Ask now")
            onClicked: Panel.selection.refresh()
        }
    }
    Row {
        visible: card.isLabelling
        spacing: 8

        TextField {
            id: label

            width: card.width - save.width - 8
            maximumLength: 16
            name: qsTr("New label")
            onAccepted: save.clicked()
        }
        TextButton {
            id: save

            text: qsTr("Write")
            onClicked: { Panel.selection.setLabel(label.text); card.isLabelling = false }
        }
    }

    property string told: ""
    property bool isLocked: false
    property int reading: -1

    function toldOfSeveral(percents) {
        const least = Math.min.apply(null, percents)
        const most = Math.max.apply(null, percents)
        return percents.length === 0 ? qsTr("positions unknown")
             : least === most ? qsTr("%1 % down").arg(least) : qsTr("%1 to %2 % down").arg(least).arg(most)
    }
    function tell() {
        const node = shade
        const percents = Panel.selection.percents()
        isLocked = !!node && node.locked === true
        reading = percents.length === 0 ? -1 : Math.round(percents.reduce(function(sum, each) { return sum + each }, 0) / percents.length)
        if (!node)
            told = toldOfSeveral(percents)
        else if (node.moving)
            told = qsTr("moving, ≈%1 % down").arg(node.estimatedPercent)
        else if (node.percent === undefined)
            told = qsTr("position unknown")
        else
            told = qsTr("%1 % down, %2").arg(node.percent).arg(age(Panel.positionAgeMs(node)))
    }
    Connections {
        target: Panel.selection
        function onTold() { card.tell() }
        function onChanged() { card.tell(); slider.forget() }
    }
    Component.onCompleted: tell()
}
