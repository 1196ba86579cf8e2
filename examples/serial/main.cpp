// Reads the label of a node over a serial port: example-serial /dev/ttyUSB0 000001

#include <KVRAnswer>
#include <KVRStdProxy>
#include <QCoreApplication>
#include <VOXBus>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList words = QCoreApplication::arguments();
    if (words.size() != 3) {
        qCritical("the name of a port and an address are wanted");
        return 2;
    }
    // 4800 bit/s, 8 data bits, odd parity; frames are paced as the line needs it.
    VOXBus bus(words.at(1));
    if (!bus.open()) {
        qCritical("%s", qPrintable(bus.errorString()));
        return 1;
    }
    KVRStdProxy node(words.at(2).toUInt(nullptr, 16), &bus);
    node.getNodeLabel().onFinished(&app, [&](const BusPendingCall &call) {
        const auto answer = KVRAnswer::from<KVRAnswer::NodeLabel>(call.reply());
        const bool isRead = answer && node.hasSent(call.reply());
        qInfo("%s", isRead ? answer->label.constData() : qPrintable(call.errorString()));
        app.exit(isRead ? 0 : 1);
    });
    return app.exec();
}
