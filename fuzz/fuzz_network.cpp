// The file that describes a simulated network, of any bytes: a network whose nodes keep what it says, or a
// mistake with a text.

#include "simulation/jsonplace_p.h"
#include "support/fuzzing.h"
#include "vox/sim/faultrule.h"
#include "vox/sim/networkfile.h"
#include "vox/sim/nodesettings.h"
#include "vox/sim/simulation.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <sanitizer/lsan_interface.h>

namespace {
/// More nodes only take more time.
bool isSmall(const QJsonObject &network)
{
    constexpr unsigned int MostNodes = 32;
    unsigned int count = 0;
    const QJsonArray nodes = network.value(QStringLiteral("nodes")).toArray();
    for (const QJsonValue &node : nodes) {
        const QString addresses = node.toObject().value(QStringLiteral("address")).toString();
        const unsigned int first = addresses.section(QLatin1Char('-'), 0, 0).toUInt(nullptr, 16);
        const unsigned int last = addresses.section(QLatin1Char('-'), 1).toUInt(nullptr, 16);
        count += last > first ? std::min(last - first, MostNodes) + 1 : 1;
    }
    return count <= MostNodes;
}

bool isRead(const MemoryFile &file, QJsonObject *network, QString *problem)
{
    // Qt's own parser leaks what is nested where it meets a mistake.
    const __lsan::ScopedDisabler disabler;
    return readJsonFile(file.name(), network, problem);
}

/// What is written of a node is what makes another one like it.
void expectToComeBack(const Simulation::Node &node)
{
    const QJsonObject settings = settingsOf(*node.device);
    QString problem;
    Simulation other;
    KVRDevice *copy = other.add(*findNodeModel(node.model), node.device->addr(), &problem);
    expect(copy != nullptr);
    readSettings(*copy, JsonPlace(settings, QString(), &problem));
    expect(problem.isEmpty() && settingsOf(*copy) == settings);
}
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const MemoryFile file(Input(data, size).bytes(static_cast<int>(size)));
    QJsonObject network;
    QString problem;
    if (!isRead(file, &network, &problem)) {
        expect(!problem.isEmpty());
        return 0;
    }
    if (!isSmall(network))
        return -1;
    Simulation simulation;
    const bool isNetwork = readNetwork(network, &simulation, &problem);
    expect(isNetwork == problem.isEmpty());
    if (!isNetwork)
        return 0;
    expect(simulation.nodes().empty() == network.value(QStringLiteral("nodes")).toArray().isEmpty());
    for (const Simulation::Node &node : simulation.nodes())
        expectToComeBack(node);
    for (const QString &words : faultsOf(network)) {
        FaultRule rule;
        expect(FaultRule::read(words, &rule, &problem));
    }
    return 0;
}
