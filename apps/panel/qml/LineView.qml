import QtQuick 2.15
import QtQuick.Templates 2.15 as T

// All that is on a line, frame by frame.
FocusScope {
    id: view

    property int index: 0
    readonly property var line: Panel.lines.length > index ? Panel.lines[index] : null
    // Nobody draws what is not seen.
    readonly property var frames: visible && line ? line.frames : null

    onFramesChanged: if (frames) frames.filter = filter.text
    property string said: ""

    Accessible.role: Accessible.Pane
    Accessible.name: qsTr("Line")

    Flow {
        id: bar

        anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.margin }
        spacing: 8

        LineTabs {
            index: view.index
            onChosen: function(line) { view.index = line; view.said = "" }
        }
        TextField {
            id: filter

            width: 280
            focus: true
            placeholderText: qsTr("Filter: an address, a command …")
            name: qsTr("Filter")
            onTextChanged: if (view.frames) view.frames.filter = text
        }
        TextButton {
            text: hold.checked ? qsTr("Go on") : qsTr("Hold")
            sign: hold.checked ? "play" : "pause"
            onClicked: hold.checked = !hold.checked
            QtObject { id: hold; property bool checked: false }
        }
        TextField {
            id: file

            width: 300
            name: qsTr("File to save as")
            placeholderText: qsTr("File to save as")
            text: view.line ? view.line.frames.nameFor(view.line.name) : ""
        }
        TextButton {
            text: qsTr("Save as pcap")
            sign: "save"
            enabled: !!view.frames && view.frames.count > 0 && file.text !== ""
            onClicked: {
                view.said = view.frames.save(file.text)
                file.text = view.frames.nameFor(view.line.name)
            }
        }
    }
    Text {
        id: count

        anchors { left: parent.left; leftMargin: Theme.margin; right: parent.right; rightMargin: Theme.margin; top: bar.bottom; topMargin: 8 }
        text: view.said !== "" ? view.said : view.frames ? qsTr("%1 of %2 frames").arg(view.frames.count).arg(view.frames.total) : ""
        font: Theme.smallFont
        color: Theme.ink2
        elide: Text.ElideMiddle
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    Rectangle {
        anchors { fill: parent; topMargin: bar.height + count.height + 2 * Theme.margin + 4; margins: Theme.margin }
        color: Theme.surface
        border { color: Theme.rule; width: 1 }
        radius: Theme.radius

        ListView {
            id: list

            anchors { fill: parent; margins: 8 }
            model: view.frames
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            activeFocusOnTab: true
            reuseItems: true
            Accessible.role: Accessible.List
            Accessible.name: qsTr("Frames")
            onCountChanged: if (!hold.checked) Qt.callLater(list.positionViewAtEnd)
            T.ScrollBar.vertical: Scroll { }

            delegate: Text {
                width: list.width - 12
                height: 20
                text: model.text
                font: Theme.fixedFont
                color: model.bad ? Theme.bad : Theme.ink
                elide: Text.ElideRight
                verticalAlignment: Text.AlignVCenter
            }
        }
    }
}
