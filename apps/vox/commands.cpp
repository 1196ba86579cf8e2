#include "vox/commands.h"

#include "vox/bridge/bridgecommand.h"
#include "vox/completecommand.h"
#include "vox/host/callcommand.h"
#include "vox/host/counterscommand.h"
#include "vox/host/dailycommands.h"
#include "vox/host/democommand.h"
#include "vox/host/pingcommand.h"
#include "vox/host/scancommand.h"
#include "vox/line/monitorcommand.h"
#include "vox/line/probecommand.h"
#include "vox/line/replaycommand.h"
#include "vox/mancommand.h"
#include "vox/panelcommand.h"
#include "vox/sim/recordcommand.h"
#include "vox/sim/simcommand.h"
#include "vox/test/testcommand.h"
#include "vox/top/topcommand.h"

#include <algorithm>

const QVector<Command> &commands()
{
    static const QVector<Command> all =
        QVector<Command>{
            {QStringLiteral("demo"), QStringLiteral("an emulated network and a host that drives it"),
             runDemo},
            {QStringLiteral("sim"), QStringLiteral("emulates nodes on a bus"), runSim},
            {QStringLiteral("test"), QStringLiteral("runs scenarios against a program"), runTest},
            {QStringLiteral("record"),
             QStringLiteral("makes a network file for sim of a bus or of a capture"), runRecord},
            {QStringLiteral("scan"), QStringLiteral("finds the nodes of a bus"), runScan},
            {QStringLiteral("ping"), QStringLiteral("tells which nodes lose, delay or damage answers"),
             runPing},
            {QStringLiteral("counters"), QStringLiteral("the error counters of nodes, before and after"),
             runCounters},
            {QStringLiteral("call"), QStringLiteral("calls one operation of a node and prints its reply"),
             runCall},
            {QStringLiteral("monitor"), QStringLiteral("shows what happens on a bus, and never sends"),
             runMonitor},
            {QStringLiteral("top"), QStringLiteral("the nodes of a bus as they are now"), runTop},
            {QStringLiteral("replay"), QStringLiteral("sends what a capture holds"), runReplay},
            {QStringLiteral("probe"), QStringLiteral("finds the bit rate and parity of a serial line"),
             runProbe},
            {QStringLiteral("bridge"), QStringLiteral("brings lines to an MQTT broker"), runBridge},
            {QStringLiteral("panel"), QStringLiteral("shows the shades of a building in a window"), runPanel},
        }
        + dailyCommands();
    return all;
}

const Command *findCommand(const QString &name)
{
    static const QVector<Command> all = commands()
        + QVector<Command>{{QStringLiteral("complete"), QString(), runComplete},
                           {QStringLiteral("man"), QString(), runMan}};
    const auto found = std::find_if(all.begin(), all.end(), [&](const Command &c) { return c.name == name; });
    return found == all.end() ? nullptr : &*found;
}
