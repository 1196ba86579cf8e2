import QtQuick 2.15
import QtQuick.Templates 2.15 as T

// The name of the building, the views, and what is told to all.
Rectangle {
    id: bar

    property int view: 0
    readonly property var names: [qsTr("Façade"), qsTr("Line"), qsTr("Install"), qsTr("Replay")]
    readonly property bool narrow: width < 1180
    // There is room for signs only.
    readonly property bool tiny: width < 960

    height: Theme.topBar
    color: Theme.surface

    Rectangle {
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        height: 1
        color: Theme.rule
    }
    Text {
        id: title

        readonly property real room: buttons.x - tabs.width - (badge.visible ? badge.width : 0) - 3 * Theme.margin - 8

        anchors { left: parent.left; leftMargin: Theme.margin; verticalCenter: parent.verticalCenter }
        width: Math.min(implicitWidth, bar.narrow ? 150 : 260, Math.max(0, room))
        // What would be too short to be read is left out.
        text: room < 80 ? "" : Panel.title
        font: Theme.titleFont
        color: Theme.ink
        elide: Text.ElideMiddle
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
    Badge {
        id: badge

        visible: Panel.badge !== ""
        anchors { left: title.right; leftMargin: title.width === 0 ? 0 : bar.narrow ? 12 : 20; verticalCenter: parent.verticalCenter }
        text: Panel.badge
        Accessible.role: Accessible.StaticText
        Accessible.name: Panel.badge + ". " + Panel.badgeReason

        Hint { text: Panel.badgeReason; under: badgeArea.containsMouse }
        MouseArea { id: badgeArea; anchors.fill: parent; hoverEnabled: true }
    }
    Row {
        id: tabs

        anchors {
            left: badge.visible ? badge.right : title.right
            leftMargin: bar.narrow ? 8 : 24
            top: parent.top; bottom: parent.bottom
        }

        Repeater {
            model: bar.names

            T.AbstractButton {
                id: tab

                readonly property bool current: bar.view === index

                width: bar.tiny ? Math.max(44, label.implicitWidth + 16) : bar.narrow ? Math.max(64, label.implicitWidth + 20) : 88
                height: bar.height
                text: modelData
                focusPolicy: Qt.StrongFocus
                onClicked: bar.view = index
                Keys.onReturnPressed: clicked()
                Accessible.role: Accessible.PageTab
                Accessible.name: text
                Accessible.onPressAction: clicked()

                Text {
                    id: label

                    anchors.centerIn: parent
                    text: tab.text
                    font: tab.current ? Theme.strongFont : Theme.controlFont
                    color: tab.current || tab.hovered ? Theme.ink : Theme.ink2
                }
                Rectangle {
                    visible: tab.current
                    anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
                    height: 3
                    color: Theme.accent
                }
                FocusRing { shown: tab.visualFocus; anchors.margins: 2 }
            }
        }
    }
    Row {
        id: buttons

        anchors { right: stop.visible ? stop.left : parent.right; rightMargin: stop.visible && bar.narrow ? 12 : Theme.margin; verticalCenter: parent.verticalCenter }
        spacing: 8

        TextButton {
            visible: stop.visible
            width: bar.tiny ? Theme.button : bar.narrow ? 92 : 112
            text: bar.tiny ? "" : qsTr("All up")
            sign: bar.tiny ? "up" : ""
            Accessible.name: qsTr("All up")
            onClicked: Panel.allUp()
        }
        TextButton {
            visible: stop.visible
            width: bar.tiny ? Theme.button : bar.narrow ? 92 : 112
            text: bar.tiny ? "" : qsTr("All down")
            sign: bar.tiny ? "down" : ""
            Accessible.name: qsTr("All down")
            onClicked: Panel.allDown()
        }
        T.AbstractButton {
            id: theme

            width: Theme.button
            height: Theme.button
            focusPolicy: Qt.StrongFocus
            onClicked: Theme.isDark = !Theme.isDark
            Keys.onReturnPressed: clicked()
            Accessible.role: Accessible.Button
            Accessible.name: Theme.isDark ? qsTr("Light theme") : qsTr("Dark theme")
            Accessible.onPressAction: clicked()

            Sign {
                anchors.centerIn: parent
                name: "theme"
                size: 20
                colour: theme.hovered ? Theme.ink : Theme.ink2
            }
            Hint { text: theme.Accessible.name; under: theme.hovered; x: parent.width - width }
            FocusRing { shown: theme.visualFocus; anchors.margins: 2 }
        }
    }
    TextButton {
        id: stop

        visible: Panel.canSend && Panel.lines.length > 0
        anchors { right: parent.right; rightMargin: Theme.margin; verticalCenter: parent.verticalCenter }
        width: bar.tiny ? 128 : bar.narrow ? 148 : 168
        visibleHeight: 44
        colour: Theme.stopButton
        edge: "transparent"
        text: qsTr("Stop all")
        onClicked: Panel.stopAll()
        contentItem: Item {
            Sign {
                id: square

                anchors { left: parent.left; leftMargin: bar.tiny ? 4 : 12; verticalCenter: parent.verticalCenter }
                name: "stop"
                size: 24
                colour: Theme.onStopButton
            }
            Text {
                anchors { left: square.right; leftMargin: 6; verticalCenter: parent.verticalCenter }
                text: stop.text
                font: Theme.strongFont
                color: Theme.onStopButton
            }
            Text {
                anchors { right: parent.right; rightMargin: bar.tiny ? 6 : Theme.margin; verticalCenter: parent.verticalCenter }
                text: qsTr("Esc")
                font: Theme.smallFont
                color: Theme.onStopButton
            }
        }
    }
}
