import QtQuick 2.15
import QtQuick.Window 2.15

Window {
    id: window

    property string view: ""
    property string find: ""
    readonly property var names: ["facade", "line", "install", "replay"]
    readonly property bool isSheet: width < 960
    property bool isSheetOpen: false

    visible: true
    width: 1280
    height: 800
    minimumWidth: 640
    minimumHeight: 480
    title: Panel.badge === "" ? Panel.title : Panel.title + " – " + Panel.badge
    color: Theme.page

    function show(node) {
        top.view = 0
        Panel.selection.choose(node)
        facade.show(node)
    }
    function focusView() {
        (facade.isFacade ? facade : [facade, lineView, installView, replayView][top.view]).forceActiveFocus()
    }
    function showView(index) {
        top.view = index
        focusView()
    }
    function showFrames(index) {
        lineView.index = index
        top.view = 1
    }

    Component.onCompleted: {
        top.view = Math.max(0, names.indexOf(view))
        if (find !== "")
            Qt.callLater(function() { facade.facade.find(find) })
    }

    Shortcut { sequence: "Ctrl+1"; onActivated: window.showView(0) }
    Shortcut { sequence: "Ctrl+2"; onActivated: window.showView(1) }
    Shortcut { sequence: "Ctrl+3"; onActivated: window.showView(2) }
    Shortcut { sequence: "Ctrl+4"; onActivated: window.showView(3) }
    Shortcut { sequence: StandardKey.Find; onActivated: { top.view = 0; search.open() } }
    Shortcut { sequence: "Ctrl+Z"; onActivated: Panel.places.undo() }
    Shortcut { sequence: "Ctrl+0"; onActivated: facade.fit() }
    Shortcut { sequences: ["Ctrl++", "Ctrl+="]; onActivated: facade.zoomBy(1.5) }
    Shortcut { sequence: "Ctrl+-"; onActivated: facade.zoomBy(1 / 1.5) }

    // The window's own colour is not in its picture.
    Rectangle {
        id: page

        anchors.fill: parent
        color: Theme.page

        TopBar {
            id: top

            width: parent.width
            onViewChanged: Qt.callLater(window.focusView)
        }
        Item {
            id: body

            anchors { left: parent.left; right: side.visible && !window.isSheet ? side.left : parent.right; top: top.bottom; bottom: replayBar.visible ? replayBar.top : strip.visible ? strip.top : parent.bottom }

            Column {
                id: banners

                anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.margin }
                spacing: 8

                Repeater {
                    model: Panel.shades.count > 0 ? Panel.problems : []

                    Banner {
                        width: banners.width
                        title: qsTr("The file has a mistake; the rest is shown")
                        text: modelData
                    }
                }
            }
            Item {
                id: views

                anchors { fill: parent; topMargin: banners.height > 0 ? banners.height + Theme.margin : 0 }

                FacadeView {
                    id: facade

                    anchors.fill: parent
                    visible: isFacade && Panel.shades.count > 0
                    onOpened: window.isSheetOpen = true
                    canOpenSheet: window.isSheet && !window.isSheetOpen

                    readonly property bool isFacade: top.view === 0 || top.view === 3 && !!Panel.replay
                }
                EmptyView {
                    anchors.fill: parent
                    visible: facade.isFacade && Panel.shades.count === 0
                }
                LineView {
                    id: lineView

                    anchors.fill: parent
                    visible: top.view === 1
                }
                InstallView {
                    id: installView

                    anchors.fill: parent
                    visible: top.view === 2
                }
                ReplayView {
                    id: replayView

                    anchors.fill: parent
                    visible: top.view === 3 && !Panel.replay
                }
            }
            Column {
                id: lineBanners

                anchors { left: parent.left; right: parent.right; bottom: parent.bottom; margins: 4 }
                visible: facade.visible && !facade.facade.arranging
                spacing: 4

                Repeater {
                    model: Panel.canSend ? Panel.lines : []

                    LineBanner {
                        visible: !modelData.open
                        width: lineBanners.width
                        title: modelData.closed ? qsTr("Line %1 is not open").arg(modelData.name) : qsTr("Line %1: nothing is heard").arg(modelData.name)
                        text: modelData.problem
                    }
                }
            }
            SearchBox {
                id: search

                anchors { right: parent.right; top: parent.top; margins: Theme.margin }
                onFound: function(text) { isFound = facade.facade.find(text) }
            }
        }
        SidePanel {
            id: side

            visible: facade.isFacade && Panel.shades.count > 0 && (!window.isSheet || window.isSheetOpen)
            isSheet: window.isSheet
            anchors { right: parent.right; top: top.bottom; bottom: window.isSheet && strip.visible ? strip.top : parent.bottom }
            width: window.width >= 1200 ? Theme.sidePanel : Theme.narrowSidePanel
            onShown: function(node) { window.showView(node) }
            onFramesWanted: function(line) { window.showFrames(Panel.lines.indexOf(line)) }
            onClosed: window.isSheetOpen = false
        }
        ReplayBar {
            id: replayBar

            visible: !!Panel.replay
            anchors { left: parent.left; right: side.visible && !window.isSheet ? side.left : parent.right; bottom: strip.visible ? strip.top : parent.bottom }
        }
        LineStrip {
            id: strip

            visible: Panel.lines.length > 0 && page.height > 560
            anchors { left: parent.left; right: side.visible && !window.isSheet ? side.left : parent.right; bottom: parent.bottom }
            onFramesWanted: function(line) { window.showFrames(line) }
        }
    }
    Connections {
        target: StopKey
        function onPressed() { window.isSheetOpen = false; search.close(); facade.facade.arranging = false }
    }
}
