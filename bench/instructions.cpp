// Runs one operation so often: `instructions NAME COUNT`. Without a name it lists them.

#include "support/cases.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    const Benchmark cases[] = {
        {"call", [] { return callOverUdp(1); }},
        {"lane-call", callThroughLane},
        {"broadcast", [] { return broadcastTo(100); }},
        {"detach-attach", [] { return detachAndAttach(100); }},
        {"prepare-parse", prepareAndParse},
    };
    for (const Benchmark &each : cases) {
        if (argc < 3) {
            std::printf("%s\n", each.name.c_str());
        } else if (each.name == argv[1]) {
            const Step step = each.makeStep();
            for (int i = std::atoi(argv[2]); i > 0; --i)
                step();
            return 0;
        }
    }
    return argc < 3 ? 0 : 2;
}
