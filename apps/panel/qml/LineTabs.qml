import QtQuick 2.15

// Which line is looked at, where there are several.
Row {
    id: tabs

    property int index: 0
    signal chosen(int line)

    visible: Panel.lines.length > 1
    spacing: 4

    Repeater {
        model: tabs.visible ? Panel.lines : []

        TextButton {
            text: modelData.name
            colour: tabs.index === index ? Theme.accent : Theme.surface
            ink: tabs.index === index ? Theme.onAccent : Theme.ink
            Accessible.name: qsTr("Line %1").arg(modelData.name)
            Accessible.checkable: true
            Accessible.checked: tabs.index === index
            onClicked: tabs.chosen(index)
        }
    }
}
