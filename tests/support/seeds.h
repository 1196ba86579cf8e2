#ifndef SEEDS_H
#define SEEDS_H

#include <QtTest>

/// The rows of a test that holds for any seed: ten, or as many as VOX_SEEDS says.
inline void addSeeds()
{
    QTest::addColumn<quint32>("seed");
    const int seeds = qEnvironmentVariableIntValue("VOX_SEEDS");
    for (int seed = 1; seed <= (seeds > 0 ? seeds : 10); ++seed)
        QTest::addRow("%d", seed) << quint32(seed);
}

#endif
