import QtQuick 2.15

// What is wrong, with what to do; or that all is well.
Column {
    id: list

    readonly property int most: 5
    signal shown(var node)

    spacing: 8

    Item {
        width: parent.width
        height: 28

        Text {
            id: heading

            anchors.verticalCenter: parent.verticalCenter
            text: qsTr("Trouble")
            font: Theme.sectionFont
            color: Theme.ink
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Badge {
            anchors { left: heading.right; leftMargin: 10; verticalCenter: parent.verticalCenter }
            visible: Panel.troubles.count > 0
            text: Panel.troubles.count
            ink: Theme.bad
            color: Theme.badTint
            border.width: 0
        }
    }
    Repeater {
        model: Panel.troubles

        Rectangle {
            id: trouble

            readonly property var node: model.shade

            visible: index < list.most
            width: list.width
            height: visible ? words.height + 18 : 0
            radius: Theme.radius
            color: Theme.surface
            border { color: Theme.rule; width: 1 }
            Accessible.role: Accessible.AlertMessage
            Accessible.name: model.title + ". " + model.text

            Rectangle {
                width: 4
                height: parent.height
                color: model.bad ? Theme.bad : Theme.warning
            }
            Column {
                id: words

                x: 14
                y: 8
                width: parent.width - 24
                spacing: 2

                Text {
                    width: parent.width
                    text: model.title
                    font: Theme.strongTextFont
                    color: Theme.ink
                    wrapMode: Text.Wrap
                    maximumLineCount: 2
                    elide: Text.ElideRight
                }
                Text {
                    width: parent.width
                    text: model.text
                    font: Theme.smallFont
                    color: Theme.ink2
                    wrapMode: Text.Wrap
                }
                Row {
                    visible: !!trouble.node
                    spacing: 12

                    LinkButton {
                        text: qsTr("Show")
                        onClicked: list.shown(trouble.node)
                    }
                    LinkButton {
                        visible: Panel.canSend
                        text: qsTr("Ask now")
                        onClicked: trouble.node.refresh()
                    }
                }
            }
        }
    }
    Text {
        visible: Panel.troubles.count > list.most
        text: qsTr("and %1 more").arg(Panel.troubles.count - list.most)
        font: Theme.smallFont
        color: Theme.ink2
    }
    Rectangle {
        // A line that is silent is told above.
        visible: Panel.shades.count > 0 && (!Panel.canSend || Panel.lines.some(function(line) { return line.open }))
        width: parent.width
        height: 34
        radius: Theme.radius
        color: Theme.okTint
        Accessible.role: Accessible.StaticText
        Accessible.name: summary.text

        Text {
            id: summary

            anchors { left: parent.left; leftMargin: 12; right: parent.right; rightMargin: 8; verticalCenter: parent.verticalCenter }
            text: Panel.troubles.summary
            font: Theme.strongTextFont
            color: Theme.ok
            elide: Text.ElideRight
        }
    }
}
