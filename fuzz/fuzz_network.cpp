// The file that describes a simulated network, of any bytes: a network whose nodes keep what it says, or a
// mistake with a text.

#include "simulation/voxjsonplace_p.h"
#include "simulation/voxsimulation.h"
#include "support/fuzzing.h"

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
    return VOXJsonPlace::readFile(file.name(), network, problem);
}

/// What is written of a network is what makes another one like it.
void expectToComeBack(const VOXSimulation &simulation)
{
    QJsonArray nodes;
    for (const VOX::Addr addr : simulation.addresses()) {
        QJsonObject node = simulation.settings(addr);
        node.insert(QStringLiteral("model"), simulation.model(addr));
        node.insert(QStringLiteral("address"), VOX::toString(addr));
        nodes += node;
    }
    QJsonArray faults;
    for (const VOXFault &fault : simulation.faults())
        faults += fault.toString();
    VOXSimulation other;
    expect(other.load(QJsonObject{{QStringLiteral("nodes"), nodes}, {QStringLiteral("faults"), faults}}));
    expect(other.state() == simulation.state() && other.faults().size() == faults.size());
    for (int i = 0; i < faults.size(); ++i)
        expect(other.faults().at(i).toString() == faults.at(i).toString());
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
    VOXSimulation simulation;
    const bool isNetwork = simulation.load(network, &problem);
    expect(isNetwork == problem.isEmpty());
    if (!isNetwork) {
        expect(simulation.addresses().isEmpty() && simulation.faults().isEmpty());
        return 0;
    }
    expect(simulation.addresses().isEmpty() == network.value(QStringLiteral("nodes")).toArray().isEmpty());
    expectToComeBack(simulation);
    return 0;
}
