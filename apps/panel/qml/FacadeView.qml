import QtQuick 2.15
import QtQuick.Templates 2.15 as T
import VoxPanel 1.0

// All shades, by façade and floor.
FocusScope {
    id: view

    property real zoom: 1
    property alias facade: facade
    // What is wrong is not beside the shades.
    property bool canOpenSheet: false
    signal opened()

    function show(node) {
        const rect = facade.rectOf(node)
        if (rect.width > 0)
            flick.reveal(rect)
    }
    // What is at from comes to point.
    function zoomTo(wanted, from, point) {
        const next = Math.max(1, Math.min(facade.mostZoom, wanted))
        const x = (flick.contentX + from.x) * next / zoom - point.x
        const y = (flick.contentY + from.y) * next / zoom - point.y
        const wide = Math.max(flick.width, facade.fittedSize.width * next)
        const high = Math.max(flick.height, facade.fittedSize.height * next)
        zoom = next
        flick.contentX = Math.max(0, Math.min(x, wide - flick.width))
        flick.contentY = Math.max(0, Math.min(y, high - flick.height))
    }
    function zoomAt(point, factor) {
        zoomTo(zoom * factor, point, point)
    }
    function zoomBy(factor) {
        zoomAt(Qt.point(flick.width / 2, flick.height / 2), factor)
    }
    function pan(dx, dy) {
        flick.contentX = Math.max(0, Math.min(flick.contentX - dx, flick.contentWidth - flick.width))
        flick.contentY = Math.max(0, Math.min(flick.contentY - dy, flick.contentHeight - flick.height))
    }
    function fit() {
        zoom = 1
        flick.contentX = 0
        flick.contentY = 0
    }

    Accessible.role: Accessible.Pane
    Accessible.name: qsTr("Façade")

    Flickable {
        id: flick

        anchors { fill: parent; bottomMargin: 32 }
        contentWidth: Math.max(width, Math.ceil(facade.fittedSize.width * view.zoom))
        contentHeight: Math.max(height, Math.ceil(facade.fittedSize.height * view.zoom))
        interactive: false
        clip: true
        T.ScrollBar.vertical: Scroll { }
        T.ScrollBar.horizontal: Scroll { }

        function reveal(rect) {
            contentX = Math.max(0, Math.min(Math.max(contentX, rect.x + rect.width + 16 - width), rect.x - 16, contentWidth - width))
            contentY = Math.max(0, Math.min(Math.max(contentY, rect.y + rect.height + 16 - height), rect.y - 16, contentHeight - height))
        }

        Facade {
            id: facade

            width: flick.contentWidth
            height: flick.contentHeight
            focus: true
            area: Qt.size(flick.width, flick.height)
            zoom: view.zoom
            onZoomWanted: function(point) { view.zoomAt(Qt.point(point.x - flick.contentX, point.y - flick.contentY), 3) }
            onFitWanted: view.fit()
            onPinched: function(factor, from, to) { view.zoomTo(view.zoom * factor, glass.mapFromItem(null, from.x, from.y), glass.mapFromItem(null, to.x, to.y)) }
            selection: Panel.selection
            places: Panel.places
            onOpened: view.opened()
            onShown: function(rect) { flick.reveal(rect) }

            Accessible.role: Accessible.List
            Accessible.name: qsTr("Shades")

            Image {
                z: -2
                visible: facade.placed
                x: facade.pictureRect.x
                y: facade.pictureRect.y
                width: facade.pictureRect.width
                height: facade.pictureRect.height
                source: Panel.places.picture
                // Not read again at each turn of the wheel.
                sourceSize.width: width <= 1024 ? 1024 : width <= 2048 ? 2048 : 4096
                smooth: true
                asynchronous: true
            }
            Repeater {
                model: facade.blocks

                Item {
                    z: -1

                    Text {
                        x: facade.floors.length > 0 && index === 0 ? modelData.rect.x - 24 : modelData.rect.x + 4
                        y: modelData.rect.y - 28
                        width: modelData.rect.right - x
                        visible: modelData.name !== ""
                        text: modelData.name
                        font: Theme.sectionFont
                        color: Theme.ink
                        elide: Text.ElideRight
                        Accessible.role: Accessible.Heading
                        Accessible.name: text
                    }
                    Badge {
                        visible: modelData.troubles > 0 && facade.cellWidth < 44
                        anchors.right: wall.right
                        y: modelData.rect.y - 26
                        ink: Theme.bad
                        color: Theme.badTint
                        text: qsTr("%1 without answer").arg(modelData.troubles)
                    }
                    Rectangle {
                        id: wall

                        x: modelData.rect.x
                        y: modelData.rect.y
                        width: modelData.rect.width
                        height: modelData.rect.height
                        radius: Theme.radius
                        color: Theme.wall
                    }
                }
            }
            Repeater {
                model: facade.rules

                Rectangle {
                    z: -1
                    x: modelData.x
                    y: modelData.y
                    width: modelData.width
                    height: 1
                    color: Theme.rule
                }
            }
            Repeater {
                model: facade.floors

                Text {
                    z: -1
                    x: facade.blocks.length > 0 ? facade.blocks[0].rect.x - 24 : 16
                    width: 18
                    y: modelData.y - height / 2
                    horizontalAlignment: Text.AlignHCenter
                    text: modelData.name
                    font: Theme.strongTextFont
                    color: Theme.ink2
                }
            }
            Repeater {
                model: Panel.shades

                Shade {
                    node: model.shade
                    facade: model.facade
                    lineOpen: model.line.open || !Panel.canSend
                    dark: Theme.isDark
                    key: model.key
                    placed: view.facade.placed
                }
            }
            Rectangle {
                visible: facade.band.width > 0
                x: facade.band.x
                y: facade.band.y
                width: facade.band.width
                height: facade.band.height
                color: Qt.rgba(Theme.accent.r, Theme.accent.g, Theme.accent.b, 0.12)
                border { color: Theme.accent; width: 1 }
            }
            Connections {
                target: Panel
                function onTold() { facade.refresh() }
            }
        }
    }
    // Over the shades, and in their window's pixels.
    Item {
        id: glass

        anchors.fill: flick

        WheelHandler {
            id: wheel

            acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad
            onWheel: function(event) {
                const isTouchPad = event.pixelDelta.x !== 0 || event.pixelDelta.y !== 0
                if (event.modifiers & Qt.ShiftModifier)
                    view.pan(event.angleDelta.y || event.angleDelta.x, 0)
                else if (isTouchPad && !(event.modifiers & Qt.ControlModifier))
                    view.pan(event.pixelDelta.x, event.pixelDelta.y)
                else
                    view.zoomAt(wheel.point.position, Math.pow(1.25, event.angleDelta.y / 120))
            }
        }
    }
    Row {
        anchors { left: parent.left; leftMargin: 44; bottom: parent.bottom; bottomMargin: 12 }
        spacing: 14

        Repeater {
            model: Panel.counts

            Text {
                text: modelData.text
                color: Theme[modelData.colour]
                font: modelData.colour === "ink2" ? Theme.smallFont : Theme.strongSmallFont
            }
        }
    }
    Row {
        anchors { right: parent.right; rightMargin: Theme.margin; bottom: parent.bottom; bottomMargin: -2 }
        spacing: 12
        visible: !facade.arranging

        Text {
            anchors.verticalCenter: parent.verticalCenter
            visible: view.width > 760 && facade.cellWidth >= 72
            text: qsTr("Numbers: percent down. ▸ last reading  ≈ estimate")
            font: Theme.smallFont
            color: Theme.ink2
        }
        LinkButton {
            anchors.verticalCenter: parent.verticalCenter
            visible: view.canOpenSheet
            height: Theme.button
            text: Panel.troubles.count > 0 ? qsTr("Trouble: %1").arg(Panel.troubles.count) : qsTr("Details")
            onClicked: view.opened()
        }
        LinkButton {
            anchors.verticalCenter: parent.verticalCenter
            visible: view.zoom > 1
            height: Theme.button
            text: qsTr("Fit")
            onClicked: view.fit()
        }
        LinkButton {
            anchors.verticalCenter: parent.verticalCenter
            height: Theme.button
            text: qsTr("Arrange …")
            onClicked: facade.arranging = true
        }
    }
    Rectangle {
        visible: facade.arranging
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        height: 96
        color: Theme.surface
        Rectangle { width: parent.width; height: 1; color: Theme.rule }

        Text {
            x: Theme.margin
            y: 8
            width: parent.width - 2 * x
            text: Panel.places.problem !== "" ? Panel.places.problem : qsTr("Drag each shade to its place, or move it by Alt and the arrow keys. A picture of the building may stand behind them: PNG, JPEG or SVG.")
            font: Theme.smallFont
            color: Panel.places.problem !== "" ? Theme.bad : Theme.ink2
            elide: Text.ElideMiddle
        }
        Row {
            x: Theme.margin
            y: 36
            spacing: 8

            TextButton { text: qsTr("Undo"); sign: "undo"; enabled: Panel.places.canUndo; onClicked: Panel.places.undo() }
            TextField {
                id: pictureName

                width: Math.min(320, view.width - 420)
                text: Panel.places.pictureName
                placeholderText: qsTr("Picture, such as /home/me/house.svg")
                name: qsTr("Picture of the building")
                onAccepted: Panel.places.pictureName = text
            }
            TextButton { text: qsTr("Set picture"); onClicked: Panel.places.pictureName = pictureName.text }
            TextButton { text: qsTr("Done"); onClicked: facade.arranging = false }
        }
    }
}
