import QtQuick 2.15
import QtQuick.Templates 2.15 as T

T.TextField {
    id: field

    property string name: placeholderText

    implicitWidth: 160
    implicitHeight: Theme.button
    leftPadding: 10
    rightPadding: 10
    topPadding: 4
    bottomPadding: 4
    verticalAlignment: TextInput.AlignVCenter
    font: Theme.textFont
    color: Theme.ink
    selectionColor: Theme.accent
    selectedTextColor: Theme.onAccent
    placeholderTextColor: Theme.ink2
    selectByMouse: true
    Accessible.role: Accessible.EditableText
    Accessible.name: name

    background: Item {
        Rectangle {
            anchors { fill: parent; topMargin: 4; bottomMargin: 4 }
            radius: Theme.radius
            color: Theme.surface
            border { color: field.activeFocus ? Theme.accent : Theme.outline; width: field.activeFocus ? 2 : 1 }
        }
    }
    Text {
        anchors { fill: parent; leftMargin: field.leftPadding; rightMargin: field.rightPadding }
        visible: field.text === ""
        text: field.placeholderText
        font: field.font
        color: Theme.ink2
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
}
