import QtQuick 2.15
import QtQuick.Controls 2.15

// A quiet button.
Button {
    id: button

    topPadding: 5
    bottomPadding: 5
    leftPadding: 12
    rightPadding: 12
    font.pixelSize: 13
    contentItem: Text {
        text: button.text
        font: button.font
        color: "#1f2a37"
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        radius: 5
        color: button.down ? "#d9dfe7" : button.hovered ? "#eef1f5" : "white"
        border.color: button.visualFocus ? "#3b6ea5" : "#c9d0d9"
    }
}
