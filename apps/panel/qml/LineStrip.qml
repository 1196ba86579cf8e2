import QtQuick 2.15
import QtQuick.Templates 2.15 as T
import VoxPanel 1.0

// The last minute of each line. One is shown in full, the others as a row each.
Rectangle {
    id: strip

    property int unfolded: 0
    readonly property int rowHeight: 24
    signal framesWanted(int line)

    implicitHeight: Theme.strip + Math.max(0, Panel.lines.length - 1) * rowHeight
    color: Theme.surface
    Accessible.role: Accessible.Pane
    Accessible.name: qsTr("Lines")

    Rectangle {
        width: parent.width
        height: 1
        color: Theme.rule
    }
    Column {
        anchors { fill: parent; topMargin: 1 }

        Repeater {
            model: Panel.lines

            Item {
                id: row

                readonly property var line: modelData
                readonly property bool isFull: index === strip.unfolded

                width: strip.width
                height: isFull ? Theme.strip - 1 : strip.rowHeight

                T.AbstractButton {
                    id: whole

                    anchors { fill: parent; margins: 2 }
                    focusPolicy: Qt.StrongFocus
                    onClicked: row.isFull ? strip.framesWanted(index) : strip.unfolded = index
                    Keys.onReturnPressed: clicked()
                    Accessible.role: Accessible.Button
                    Accessible.name: row.isFull ? qsTr("Line %1").arg(row.line.name) : qsTr("Unfold line %1").arg(row.line.name)
                    Accessible.description: qsTr("%1 % busy, %2 unanswered").arg(row.line.loadPercent).arg(row.line.unanswered)
                    Accessible.onPressAction: clicked()

                    HoverHandler { cursorShape: Qt.PointingHandCursor }
                    FocusRing { shown: whole.visualFocus; anchors.margins: 0 }
                }
                Column {
                    x: Theme.margin
                    y: row.isFull ? 8 : 3
                    width: 160
                    spacing: row.isFull ? 1 : 0

                    Text {
                        width: parent.width
                        text: row.isFull ? qsTr("Line %1").arg(row.line.name)
                                         : qsTr("%1: %2 % busy").arg(row.line.name).arg(row.line.loadPercent)
                        font: row.isFull ? Theme.strongFont : Theme.smallFont
                        color: row.line.open || !Panel.canSend ? Theme.ink : Theme.bad
                        elide: Text.ElideMiddle
                    }
                    Text {
                        visible: row.isFull
                        text: row.line.open || !Panel.canSend ? qsTr("%1 % busy, %2 frames/s").arg(row.line.loadPercent).arg(row.line.frameRate.toFixed(1))
                              : row.line.closed ? qsTr("not open") : qsTr("silent")
                        font: Theme.smallFont
                        color: row.line.open || !Panel.canSend ? Theme.ink2 : Theme.bad
                    }
                    Text {
                        visible: row.isFull
                        text: row.line.failedChecks === 1 ? qsTr("1 failed check") : qsTr("%1 failed checks").arg(row.line.failedChecks)
                        font: row.line.failedChecks > 0 ? Theme.strongSmallFont : Theme.smallFont
                        color: row.line.failedChecks > 0 ? Theme.warning : Theme.ink2
                    }
                    Text {
                        visible: row.isFull
                        text: qsTr("%1 unanswered").arg(row.line.unanswered)
                        font: row.line.unanswered > 0 ? Theme.strongSmallFont : Theme.smallFont
                        color: row.line.unanswered > 0 ? Theme.bad : Theme.ink2
                    }
                }
                Rectangle {
                    id: plot

                    x: 184
                    y: row.isFull ? 13 : 2
                    width: parent.width - x - (parent.width > 700 ? 100 : 16)
                    height: row.isFull ? 64 : 20
                    color: Theme.page

                    Strip {
                        anchors.fill: parent
                        line: row.line
                        dark: Theme.isDark
                    }
                    Rectangle {
                        visible: row.isFull
                        x: 0
                        y: Math.round(parent.height * (1 - row.line.maxLoad / 100)) - height
                        width: most.width + 8
                        height: most.height
                        color: Theme.page

                        Text { id: most; x: 4; text: qsTr("%1 %").arg(row.line.maxLoad); font: Theme.tinyFont; color: Theme.ink2 }
                    }
                }
                LinkButton {
                    visible: row.isFull && parent.width > 700
                    anchors { right: parent.right; rightMargin: 24; top: parent.top; topMargin: 12 }
                    text: qsTr("frames ›")
                    onClicked: strip.framesWanted(index)
                    Accessible.name: qsTr("Frames of line %1").arg(row.line.name)
                }
                Item {
                    visible: row.isFull
                    anchors { left: plot.left; right: plot.right; top: plot.bottom; topMargin: 5 }

                    Text {
                        text: qsTr("60 s ago")
                        font: Theme.tinyFont
                        color: Theme.ink2
                    }
                    Row {
                        anchors.horizontalCenter: parent.horizontalCenter
                        spacing: parent.width > 520 ? 24 : 12

                        Repeater {
                            model: [{ name: qsTr("stop and user"), colour: "laneUser" },
                                    { name: qsTr("reading back"), colour: "laneReadBack" },
                                    { name: qsTr("polls"), colour: "lanePoll" },
                                    { name: qsTr("other hosts"), colour: "laneOther" }]

                            Row {
                                spacing: 6

                                Rectangle {
                                    anchors.verticalCenter: parent.verticalCenter
                                    width: 9
                                    height: 9
                                    color: Theme[modelData.colour]
                                }
                                Text {
                                    text: modelData.name
                                    font: Theme.tinyFont
                                    color: Theme.ink2
                                }
                            }
                        }
                        Row {
                            visible: plot.width > 560
                            spacing: 3

                            Sign { anchors.verticalCenter: parent.verticalCenter; name: "cross"; size: 12; colour: Theme.bad }
                            Text { text: qsTr("unanswered"); font: Theme.tinyFont; color: Theme.bad }
                        }
                    }
                    Text {
                        anchors.right: parent.right
                        text: qsTr("now")
                        font: Theme.tinyFont
                        color: Theme.ink2
                    }
                }
            }
        }
    }
}
