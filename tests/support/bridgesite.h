#ifndef BRIDGESITE_H
#define BRIDGESITE_H

#include "support/broker.h"
#include "support/covermodel.h"
#include "support/udppair.h"

#include <QtTest>

#include <memory>

/// A process of the program, and what it has said.
struct Tool
{
    explicit Tool(const QStringList &arguments, const QStringList &environment = {})
    {
        process.setEnvironment(QProcess::systemEnvironment() + environment);
        process.start(VOX_PROGRAM, arguments);
    }
    ~Tool() { end(SIGKILL); }
    Q_DISABLE_COPY_MOVE(Tool)

    QByteArray out() { return said += process.readAllStandardOutput(); }
    QByteArray err() { return complained += process.readAllStandardError(); }
    bool says(const QByteArray &word, int ms)
    {
        return QTest::qWaitFor([&] { return out().contains(word); }, ms);
    }
    int end(int signal = SIGTERM)
    {
        if (process.state() == QProcess::Running)
            ::kill(pid_t(process.processId()), signal);
        (void)QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 5000);
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    QProcess process;
    QByteArray said;
    QByteArray complained;
};

/// Simulated nodes, and their own account of how they are.
struct Sim
{
    Sim(const QJsonObject &nodes, const QStringList &options, const QString &url = QString())
    {
        const auto [from, to] = freeUdpPorts();
        const QString udp("udp://127.0.0.1:%1?local=%2&bind=127.0.0.1");
        const QString file = folder.filePath("nodes.json");
        setContents(file, QJsonDocument(QJsonObject{{"nodes", QJsonArray{nodes}}}).toJson());
        bus = url.isEmpty() ? udp.arg(from).arg(to) : url;
        const QString own = url.isEmpty() ? udp.arg(to).arg(from) : url;
        tool = std::make_unique<Tool>(QStringList{"sim", "--config", file, "--bus", own} + options);
        ready = tool->says("\n", 10000);
        if (url == "pty:")
            bus = tool->said.split(' ').value(1).chopped(1);
    }
    void say(const QByteArray &line) const { tool->process.write(line + '\n'); }
    QMap<QByteArray, QJsonObject> nodes()
    {
        tool->out();
        tool->said.clear();
        say("status json\nfaults\nhelp");
        tool->says("quit ", 5000);
        QMap<QByteArray, QJsonObject> all;
        for (const QByteArray &line : tool->said.split('\n')) {
            const QJsonObject node = QJsonDocument::fromJson(line).object();
            if (!node.isEmpty())
                all[node["address"].toString().toLatin1()] = node;
        }
        return all;
    }

    QTemporaryDir folder;
    QString bus;
    std::unique_ptr<Tool> tool;
    bool ready = false;
};

inline QJsonObject motors(const QString &range, const QJsonObject &more = {})
{
    QJsonObject nodes{{"model", "TB20"}, {"address", range}, {"label", "Room {n}"}};
    nodes["limits"] = QJsonObject{{"up", 0}, {"down", 3240}};
    for (auto each = more.begin(); each != more.end(); ++each)
        nodes[each.key()] = each.value();
    return nodes;
}

inline QByteArray idOf(const QByteArray &line, const QByteArray &addr)
{
    return "vox_" + line + '_' + addr;
}

/// In what the model differs from what the simulation says of its nodes; empty if in nothing.
inline QByteArray difference(Sim &sim, const CoverModel &model, const QByteArray &line,
                             const QByteArray &gone = {})
{
    const auto nodes = sim.nodes();
    if (nodes.isEmpty())
        return "the simulation says nothing";
    for (auto node = nodes.begin(); node != nodes.end(); ++node) {
        const QByteArray id = idOf(line, node.key());
        const auto cover = model.covers.find(id);
        if (cover == model.covers.end())
            return id + " was not found";
        if (model.isAvailable(id) == (node.key() == gone))
            return id + (node.key() == gone ? " is available" : " is not available");
        if (node.key() == gone)
            continue;
        const int down = (*node)["limits"].toObject()["down"].toInt();
        const double open = 100 - (down > 0 ? 100.0 * (*node)["position"].toInt() / down : 0);
        if ((*node)["state"] == "STATE_RUNNING")
            return id + " still moves";
        const QByteArray state = down == 0 ? "unknown" : open <= 1 ? "closed" : "open";
        if (cover->second.state() != state)
            return id + " is " + cover->second.state() + ", and truly " + state;
        const double position = cover->second.position.value_or(-1);
        if (down > 0 && qAbs(position - open) > 1)
            return id + " is at " + QByteArray::number(position) + ", and truly " + QByteArray::number(open);
    }
    return {};
}

/// Waits until there is no difference; else gives the last one.
template <typename Look>
QByteArray settle(int ms, Look look)
{
    QByteArray last;
    QElapsedTimer clock;
    clock.start();
    do {
        last = look();
        if (last.isEmpty())
            return last;
        QTest::qWait(50);
    } while (clock.elapsed() < ms);
    return last;
}

#define VERIFY_SETTLES(ms, ...) \
    do { \
        const QByteArray problem_ = settle(ms, [&]() -> QByteArray { return __VA_ARGS__; }); \
        QVERIFY2(problem_.isEmpty(), problem_); \
    } while (false)

inline QByteArray unless(bool is, const char *what)
{
    return is ? QByteArray() : QByteArray("not: ") + what;
}

inline QString writeSite(const QTemporaryDir &folder, const QString &name, const QString &broker,
                         const QJsonArray &lines)
{
    const QString file = folder.filePath(name + ".json");
    const QJsonObject site{
        {"name", name}, {"mqtt", QJsonObject{{"url", broker}}}, {"rpc", true}, {"lines", lines}};
    setContents(file, QJsonDocument(site).toJson());
    return file;
}

#endif
