import QtQuick 2.15
import QtQuick.Templates 2.15 as T

T.ScrollBar {
    id: bar

    implicitWidth: 10
    implicitHeight: 10
    minimumSize: 0.05
    visible: size < 1

    contentItem: Rectangle {
        radius: 5
        color: bar.pressed ? Theme.accent : Theme.outline
    }
}
