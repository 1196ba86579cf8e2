import QtQuick 2.15
import QtQuick.Templates 2.15 as T

// What is chosen, what is wrong, and what was last on the line.
Rectangle {
    id: side

    signal shown(var node)
    signal framesWanted(var line)
    // It lies over the shades, and can be put away.
    property bool isSheet: false
    signal closed()

    function focusCard() { card.forceActiveFocus() }

    color: Theme.surface
    Accessible.role: Accessible.Pane
    Accessible.name: qsTr("Details")

    Rectangle {
        width: 1
        height: parent.height
        color: Theme.rule
    }
    Flickable {
        id: flick

        anchors { left: parent.left; leftMargin: Theme.margin; right: parent.right; rightMargin: Theme.margin; top: parent.top; bottom: foot.top }
        contentHeight: content.height + 24
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        T.ScrollBar.vertical: Scroll { x: flick.width + 4; implicitWidth: 8 }

        Column {
            id: content

            width: parent.width
            topPadding: 12
            spacing: side.isSheet ? 8 : 12

            LinkButton {
                visible: side.isSheet
                anchors.right: parent.right
                text: qsTr("Close")
                onClicked: side.closed()
            }

            Card {
                id: card

                width: parent.width
            }
            Text {
                visible: Panel.selection.count === 0 && Panel.shades.count > 0
                width: parent.width
                wrapMode: Text.Wrap
                text: Panel.canSend ? qsTr("Click a shade to command it, or draw a frame round several.")
                                    : qsTr("Click a shade to see more of it.")
                font: Theme.textFont
                color: Theme.ink2
            }
            Text {
                visible: Panel.stopText !== ""
                width: parent.width
                wrapMode: Text.Wrap
                text: Panel.stopText
                font: Theme.strongTextFont
                color: Theme.ink
                Accessible.role: Accessible.AlertMessage
                Accessible.name: text
            }
            Rectangle {
                width: parent.width
                height: 1
                color: Theme.rule
            }
            Troubles {
                width: parent.width
                onShown: function(node) { side.shown(node) }
            }
            DemoBox {
                visible: !!Panel.demo
                width: parent.width
            }
        }
    }
    Column {
        id: foot

        readonly property var line: Panel.selection.onlyLine || (Panel.lines.length > 0 ? Panel.lines[0] : null)
        readonly property var words: line ? line.lastFrame.split("  ") : []

        anchors { left: flick.left; right: flick.right; bottom: parent.bottom; bottomMargin: 12 }
        visible: !!line && content.height + 150 < side.height
        height: visible ? implicitHeight : 0
        spacing: 2

        Rectangle { width: parent.width; height: 1; color: Theme.rule }
        Text { topPadding: 8; text: qsTr("Last frame"); font: Theme.smallFont; color: Theme.ink2 }
        Text {
            width: parent.width
            text: foot.words.slice(0, 2).join("  ")
            font: Theme.strongSmallFont
            color: Theme.ink
            elide: Text.ElideRight
        }
        Text {
            width: parent.width
            text: foot.words.slice(2).join("  ")
            font: Theme.smallFont
            color: Theme.ink
            elide: Text.ElideRight
        }
        LinkButton {
            text: qsTr("Save as pcap …")
            onClicked: side.framesWanted(foot.line)
        }
    }
}
