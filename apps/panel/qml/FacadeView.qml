import QtQuick 2.15
import VoxPanel 1.0

// All shades, by façade and floor.
FocusScope {
    id: view

    property real zoom: 1
    property alias facade: facade
    signal opened()

    function show(node) {
        const rect = facade.rectOf(node)
        if (rect.width > 0)
            flick.reveal(rect)
    }
    function zoomAt(point, factor) {
        const wanted = Math.max(1, Math.min(8, zoom * factor))
        const x = (flick.contentX + point.x) * wanted / zoom
        const y = (flick.contentY + point.y) * wanted / zoom
        zoom = wanted
        flick.contentX = Math.max(0, Math.min(x - point.x, flick.contentWidth - flick.width))
        flick.contentY = Math.max(0, Math.min(y - point.y, flick.contentHeight - flick.height))
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
        contentWidth: Math.max(width, facade.implicitWidth)
        contentHeight: Math.max(height, facade.implicitHeight)
        interactive: false
        clip: true

        function reveal(rect) {
            contentX = Math.max(0, Math.min(Math.max(contentX, rect.x + rect.width + 16 - width), rect.x - 16, contentWidth - width))
            contentY = Math.max(0, Math.min(Math.max(contentY, rect.y + rect.height + 16 - height), rect.y - 16, contentHeight - height))
        }

        Facade {
            id: facade

            width: flick.contentWidth
            height: flick.contentHeight
            focus: true
            area: Qt.size(flick.width * view.zoom, flick.height * view.zoom)
            selection: Panel.selection
            onOpened: view.opened()
            onShown: function(rect) { flick.reveal(rect) }

            Accessible.role: Accessible.List
            Accessible.name: qsTr("Shades")

            Repeater {
                model: facade.blocks

                Item {
                    z: -1

                    Text {
                        x: facade.floors.length > 0 && modelData.rect.x < 48 ? 16 : modelData.rect.x + 4
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
                    x: 16
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
            WheelHandler {
                onWheel: function(event) {
                    view.zoomAt(Qt.point(event.x - flick.contentX, event.y - flick.contentY), event.angleDelta.y > 0 ? 1.25 : 0.8)
                }
            }
        }
        PinchHandler {
            target: null
            onActiveScaleChanged: view.zoomAt(Qt.point(centroid.position.x - flick.contentX, centroid.position.y - flick.contentY),
                                              1 + (activeScale - 1) / 20)
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
    Text {
        anchors { right: parent.right; rightMargin: Theme.margin; bottom: parent.bottom; bottomMargin: 12 }
        visible: view.width > 640
        text: facade.cellWidth >= 72 ? qsTr("Numbers: percent down. ▸ last reading  ≈ estimate") : ""
        font: Theme.smallFont
        color: Theme.ink2
    }
}
