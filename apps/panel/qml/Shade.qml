import QtQuick 2.15
import VoxPanel 1.0

// A shade with its caption. The picture is drawn by the item; the words beneath it depend on the width.
ShadePicture {
    id: shade

    readonly property bool hasCaption: width >= 44
    readonly property bool hasNumber: width >= 72
    readonly property bool isLarge: width >= 120
    readonly property int inset: Math.round(width / 9)

    property bool placed: false

    Rectangle {
        visible: shade.placed
        z: -1
        anchors.fill: parent
        radius: 4
        color: Qt.rgba(Theme.wall.r, Theme.wall.g, Theme.wall.b, 0.88)
    }

    Accessible.role: Accessible.Button
    Accessible.name: label
    Accessible.description: current ? words : ""
    Accessible.selectable: true
    Accessible.selected: selected
    Accessible.onPressAction: Panel.selection.choose(node)

    Loader {
        active: shade.hasCaption
        y: shade.windowBottom
        anchors { left: parent.left; right: parent.right; leftMargin: shade.inset; rightMargin: shade.inset }
        height: shade.isLarge ? 40 : 22

        sourceComponent: Item {
            Text {
                id: name

                anchors { left: parent.left; top: parent.top; topMargin: shade.isLarge ? 4 : shade.width < 64 ? 3 : 6 }
                width: parent.width - (shade.hasNumber && !shade.isLarge ? number.width : 0)
                text: shade.isLarge || shade.hovered ? shade.label : shade.shortLabel
                elide: Text.ElideMiddle
                font: shade.isLarge ? Theme.strongTextFont : Theme.strongSmallFont
                color: Theme.ink
            }
            Text {
                id: number

                visible: shade.hasNumber
                anchors { right: shade.isLarge ? undefined : parent.right; left: shade.isLarge ? parent.left : undefined
                          top: shade.isLarge ? name.bottom : name.top }
                width: shade.isLarge ? parent.width : shade.hovered ? 0 : implicitWidth + 3
                clip: false
                opacity: shade.hovered && !shade.isLarge ? 0 : 1
                horizontalAlignment: shade.isLarge ? Text.AlignLeft : Text.AlignRight
                text: shade.isLarge && /\d/.test(shade.value) ? qsTr("%1 % down").arg(shade.value) : shade.value
                font: Theme.smallFont
                color: Theme.ink2
            }
            Repeater {
                model: shade.shaky ? Math.max(0, Math.floor(name.width / 4)) : 0
                Rectangle { x: index * 4; y: name.y + name.height - 1; width: 2; height: 1; color: Theme.warning }
            }
        }
    }
}
