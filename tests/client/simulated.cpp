#include <VOXSimulation>

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    VOXSimulation simulation;
    const KVRDevice *node = simulation.add(QStringLiteral("TB60LV"), 0x00A1B2);
    simulation.addFault(VOXFault{VOXFault::Delay, 250, 0x00A1B2});
    std::printf("%s: %s\n", qPrintable(simulation.model(node->addr())),
                qPrintable(simulation.faults().at(0).toString()));
}
