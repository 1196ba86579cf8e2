#ifndef BUILDING_H
#define BUILDING_H

#include "support/bridgesite.h"

/// Two lines with a bridge and a model of Home Assistant: on "north" sixty motors at 4800 bit/s, reached by a
/// name that stays when the adapter changes; on "south" six, on UDP, that are asked each 3 s.
struct Building
{
    Building()
    {
        plug(1000);
        south.say("set 000203 {\"limits\":{\"up\":null,\"down\":null}}");
        for (const char *const addr : {"000202", "000203", "000204", "000205"})
            south.say(QByteArray("set ") + addr + " {\"groups\":[\"00A001\"]}");
        startBridge("000101-00013C");
    }

    /// An adapter with motors that stand at @p position.
    void plug(int position)
    {
        const QStringList paced{"--line", "4800:5-40", "--speed", "2"};
        north = std::make_unique<Sim>(motors("000101-00013C", {{"position", position}}), paced, "pty:");
        QFile::link(QUrl(north->bus).path(), port);
    }
    void unplug()
    {
        // Another test may get the same pseudo-terminal meanwhile.
        QFile::remove(port);
        north.reset();
    }
    void startBridge(const QString &nodes)
    {
        const QJsonObject group{{"name", "South side"}, {"members", QJsonArray{"000202-000206"}}};
        const QJsonArray lines{
            QJsonObject{{"name", "north"}, {"bus", "serial://" + port}, {"nodes", QJsonArray{nodes}}},
            QJsonObject{{"name", "south"},
                        {"bus", south.bus},
                        {"groups", QJsonObject{{"00A001", group}}},
                        {"poll", QJsonObject{{"position", 3}, {"status", 3}}}}};
        const QString site = writeSite(folder, "hq", broker.url(), lines);
        bridge = std::make_unique<Tool>(QStringList{"bridge", "--config", site});
    }
    /// In what the model is wrong of both lines.
    QByteArray untrue() { return difference(*north, model, "north") + difference(south, model, "south"); }
    const CoverModel::Cover &cover(const char *line, const char *addr)
    {
        return model.covers[idOf(line, addr)];
    }
    bool isAvailable(const char *line, const char *addr) const { return model.isAvailable(idOf(line, addr)); }

    const QTemporaryDir folder;
    const QString port = folder.filePath("port");
    Broker broker;
    std::unique_ptr<Sim> north;
    Sim south{motors("000201-000206", {{"position", 1620}}), {"--speed", "4"}};
    std::unique_ptr<Tool> bridge;
    CoverModel model{broker.port()};
};

#endif
