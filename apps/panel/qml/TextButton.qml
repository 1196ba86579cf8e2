import QtQuick 2.15
import QtQuick.Templates 2.15 as T

// A button with a text, a sign, or both. 44 px high for fingers, though it may look lower.
T.Button {
    id: button

    property string sign: ""
    property color colour: Theme.surface
    property color ink: Theme.ink
    property color edge: Theme.outline
    property bool stacked: false
    property int signSize: stacked ? 22 : 16
    property int visibleHeight: 36

    implicitWidth: Math.max(44, row.implicitWidth + 32)
    implicitHeight: Theme.button
    font: stacked ? Theme.strongSmallFont : Theme.strongFont
    focusPolicy: Qt.StrongFocus
    opacity: enabled ? 1 : 0.45

    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.onPressAction: clicked()

    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    background: Item {
        Rectangle {
            anchors.centerIn: parent
            width: parent.width
            height: button.stacked ? parent.height : Math.min(parent.height, button.visibleHeight)
            radius: Theme.radius
            color: button.down ? Qt.darker(button.colour, Theme.isDark ? 0.75 : 1.12)
                 : button.hovered ? Qt.darker(button.colour, Theme.isDark ? 0.85 : 1.05) : button.colour
            border.color: button.edge
            border.width: button.edge.a > 0 ? 1 : 0

            FocusRing { shown: button.visualFocus }
        }
    }
    contentItem: Item {
        Grid {
            id: row

            anchors.centerIn: parent
            columns: button.stacked || button.sign === "" || button.text === "" ? 1 : 2
            spacing: button.stacked ? 2 : 8
            horizontalItemAlignment: Grid.AlignHCenter
            verticalItemAlignment: Grid.AlignVCenter

            Sign {
                visible: button.sign !== ""
                name: button.sign
                colour: button.ink
                size: button.signSize
            }
            Text {
                visible: button.text !== ""
                text: button.text
                font: button.font
                color: button.ink
            }
        }
    }
}
