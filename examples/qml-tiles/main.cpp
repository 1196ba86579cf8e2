// A page of tiles, written in QML alone, for the nodes of a bus. Runs against vox sim --config
// examples/network/floor.json; with the name of a file it saves a picture of itself after three seconds,
// and ends.

#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickItemGrabResult>
#include <QQuickView>
#include <QTimer>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QQuickView view;
#ifdef VOX_QML_DIR
    // Where the build has the module. An installed one is found without this.
    view.engine()->addImportPath(QStringLiteral(VOX_QML_DIR));
#endif
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.setSource(QStringLiteral("qrc:/Tiles.qml"));
    view.show();
    QSharedPointer<QQuickItemGrabResult> picture;
    QTimer::singleShot(3000, &app, [&] {
        if (argc < 2)
            return;
        picture = view.rootObject()->grabToImage();
        QObject::connect(picture.data(), &QQuickItemGrabResult::ready, &app,
                         [&] { app.exit(picture->image().save(QString::fromLocal8Bit(argv[1])) ? 0 : 1); });
    });
    return view.status() == QQuickView::Error ? 1 : app.exec();
}
