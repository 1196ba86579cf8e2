#ifndef CAPTURES_H
#define CAPTURES_H

#include "vox/line/pcapfile.h"

#include <QtTest>

/// Makes a capture of @p items.
inline void writeCapture(const QString &name, const std::vector<LineItem> &items)
{
    PcapWriter writer;
    QString problem;
    QVERIFY2(writer.open(name, &problem), qPrintable(problem));
    for (const LineItem &item : items)
        QVERIFY(writer.write(item));
}

#endif
