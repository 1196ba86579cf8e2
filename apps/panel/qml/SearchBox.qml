import QtQuick 2.15

// Finds a shade by its label or address.
Rectangle {
    id: box

    property bool isFound: true
    signal found(string text)

    function open() { visible = true; field.forceActiveFocus(); field.selectAll() }
    function close() { visible = false }

    visible: false
    width: 300
    height: row.height + 16
    radius: Theme.radius
    color: Theme.surface
    border { color: Theme.outline; width: 1 }

    Column {
        id: row

        x: 8
        y: 8
        width: parent.width - 16

        TextField {
            id: field

            width: parent.width
            placeholderText: qsTr("Find a label or an address")
            name: qsTr("Find")
            onTextEdited: box.found(text)
            onAccepted: box.close()
        }
        Text {
            visible: !box.isFound && field.text !== ""
            text: qsTr("No shade has this in its label or address.")
            font: Theme.smallFont
            color: Theme.bad
        }
    }
}
