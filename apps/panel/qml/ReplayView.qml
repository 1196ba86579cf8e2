import QtQuick 2.15

// Where a capture is chosen.
FocusScope {
    id: view

    Accessible.role: Accessible.Pane
    Accessible.name: qsTr("Replay")

    Column {
        anchors.centerIn: parent
        width: Math.min(parent.width - 64, 520)
        spacing: 12

        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: qsTr("Show what was on a line")
            font: Theme.titleFont
            color: Theme.ink
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: qsTr("A capture that was saved under Line, or by vox monitor --write. The lines that are open now are closed meanwhile.")
            font: Theme.textFont
            color: Theme.ink2
        }
        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 8

            TextField {
                id: file

                width: 320
                focus: true
                placeholderText: qsTr("File, such as /home/me/north.pcap")
                name: qsTr("Capture")
                onAccepted: Panel.openReplay(text)
            }
            TextButton {
                enabled: file.text !== ""
                text: qsTr("Play")
                sign: "play"
                onClicked: Panel.openReplay(file.text)
            }
        }
        Column {
            width: parent.width
            spacing: 4
            visible: captures.count > 0

            Text {
                width: parent.width
                topPadding: 12
                horizontalAlignment: Text.AlignHCenter
                text: qsTr("The newest in your folder:")
                font: Theme.smallFont
                color: Theme.ink2
            }
            Repeater {
                id: captures

                model: view.visible ? Panel.captures() : []

                TextButton {
                    anchors.horizontalCenter: parent.horizontalCenter
                    text: modelData.replace(/^.*[/]/, "")
                    onClicked: Panel.openReplay(modelData)
                }
            }
        }
        Repeater {
            model: Panel.problems

            Banner {
                width: parent.width
                title: qsTr("This cannot be played")
                text: modelData
            }
        }
    }
}
