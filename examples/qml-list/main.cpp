// Nodes in a list of Qt Quick, with live positions. Runs against vox sim --config
// examples/network/floor.json; with the name of a file it saves a picture of itself after two seconds, and
// ends.

#include <KVRMotorProxy>
#include <QGuiApplication>
#include <QQmlContext>
#include <QQuickItem>
#include <QQuickItemGrabResult>
#include <QQuickView>
#include <QTimer>
#include <VOXNodeListModel>
#include <VOXUdpBus>

/// A motor that knows where it is.
class LiveMotor : public KVRMotorProxy
{
    Q_OBJECT
    Q_PROPERTY(QString label MEMBER m_label NOTIFY changed)
    Q_PROPERTY(int percent MEMBER m_percent NOTIFY changed)

public:
    LiveMotor(unsigned int addr, Bus *bus, QObject *parent)
        : KVRMotorProxy(addr, bus, parent)
    {
        getNodeLabel().onFinished(this, [this](const BusPendingCall &call) {
            QByteArray label;
            if (hasSent(call.reply()) && getNodeLabelReply(call.reply(), label))
                m_label = QString::fromLatin1(label.constData());
            Q_EMIT changed();
        });
        readPosition();
    }

Q_SIGNALS:
    void changed();

private:
    void readPosition()
    {
        getMotorPosition().onFinished(this, [this](const BusPendingCall &call) {
            quint8 percent = 0;
            if (hasSent(call.reply())
                && getMotorPositionReply(call.reply(), nullptr, &percent, nullptr, nullptr))
                m_percent = percent;
            Q_EMIT changed();
            // Not before this one has ended: while nodes are silent, calls would queue without end.
            QTimer::singleShot(500, this, &LiveMotor::readPosition);
        });
    }

    QString m_label;
    int m_percent = 0;
};

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    VOXUdpBus bus(QHostAddress::LocalHost, 4800, QHostAddress::LocalHost, 4801);
    VOXNodeListModel nodes;
    for (const unsigned int addr : {0x000101u, 0x000102u, 0x000103u, 0x000201u}) {
        const int row = nodes.rowCount();
        nodes.insertRows(row, 1);
        nodes.setData(nodes.index(row), QVariant::fromValue<QObject *>(new LiveMotor(addr, &bus, &nodes)));
    }
    QQuickView view;
    view.rootContext()->setContextProperty(QStringLiteral("nodes"), &nodes);
    view.setSource(QStringLiteral("qrc:/list.qml"));
    view.show();
    QSharedPointer<QQuickItemGrabResult> picture;
    QTimer::singleShot(2000, &app, [&] {
        if (argc < 2)
            return;
        picture = view.rootObject()->grabToImage();
        QObject::connect(picture.data(), &QQuickItemGrabResult::ready, &app,
                         [&] { app.exit(picture->image().save(QString::fromLocal8Bit(argv[1])) ? 0 : 1); });
    });
    return app.exec();
}

#include "main.moc"
