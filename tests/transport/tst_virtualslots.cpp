#include "transport/voxbus.h"

#include <QtTest>

#include <cstring>

/// The order of the virtual functions, on which programs rely that are linked already.
class tst_VirtualSlots : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void buses();
};

namespace {
/// The place in the class's own table: a pointer to a virtual function says it, plus one.
template <typename Member>
std::ptrdiff_t slot(Member function)
{
    std::ptrdiff_t word = 0;
    std::memcpy(&word, &function, sizeof word);
    return (word - 1) / static_cast<std::ptrdiff_t>(sizeof(void *));
}
}

void tst_VirtualSlots::buses()
{
#if defined(Q_PROCESSOR_X86_64)
    const QList<std::ptrdiff_t> order{slot(&Bus::write),     slot(&Bus::processData), slot(&Bus::errorString),
                                      slot(&Bus::open),      slot(&Bus::close),       slot(&Bus::isOpen),
                                      slot(&VOXBus::getLen), slot(&VOXBus::writeLine)};
    for (int i = 1; i < order.size(); ++i)
        QCOMPARE(order.at(i) - order.at(0), i);
    // The first one that is not QObject's.
    struct Plain : QObject
    {
        virtual void first() { }
    };
    QCOMPARE(order.at(0), slot(&Plain::first));
#else
    QSKIP("read on x86-64 only");
#endif
}

QTEST_GUILESS_MAIN(tst_VirtualSlots)
#include "tst_virtualslots.moc"
