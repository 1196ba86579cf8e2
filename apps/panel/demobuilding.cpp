#include "panel/demobuilding.h"

#include "transport/voxbus.h"

#include <QTimerEvent>

#include <algorithm>
#include <array>
#include <cmath>

namespace {
constexpr int Floors = 5;
constexpr VOX::Addr FirstAddr = 0x000101;
constexpr VOX::Addr FirstFacadeGroup = 0x00a001;
constexpr VOX::Addr FirstFloorGroup = 0x00a011;
constexpr VOX::Addr DeadAddr = 0x00012f;
constexpr VOX::Addr LockedAddr = 0x000105;
constexpr VOX::Addr UnlimitedAddr = 0x000139;
constexpr int LockedTarget = 60;
constexpr int DownLimit = 20000;
constexpr int FirstStepMs = 800;
constexpr int StepMs = 9000;

struct FacadeRow
{
    const char *name;
    int columns;
    /// When the sun is in the middle of it.
    double sunHour;
};
const std::array<FacadeRow, 3> facades = {{{"South", 6, 12.5}, {"East", 3, 8}, {"West", 3, 17}}};

const char *const rooms[] = {"Office",  "Meeting", "Office",  "Studio",
                             "Library", "Office",  "Archive", "Office"};
/// Where the shades of the demo stand at first, in percent: over and over.
const int positions[] = {25, 25, 0, 60, 25, 25, 25, 100, 25, 60, 0, 25, 25, 60};

/// What happens, over and over.
struct Step
{
    VOX::Addr group;
    int percent;
};
const Step steps[] = {
    {FirstFloorGroup + 1, 75}, {FirstFloorGroup + 7, 45}, {FirstFloorGroup + 13, 100},
    {FirstFloorGroup + 1, 20}, {FirstFloorGroup + 7, 10}, {FirstFloorGroup + 13, 30},
};

QJsonObject nodeOf(VOX::Addr addr, const QString &label, int position, const QJsonArray &groups)
{
    return {{QStringLiteral("model"), QStringLiteral("TB60LV")},
            {QStringLiteral("address"), VOX::toString(addr)},
            {QStringLiteral("label"), label},
            {QStringLiteral("groups"), groups},
            {QStringLiteral("versions"),
             QJsonObject{{QStringLiteral("application"), QStringLiteral("5012345-A03-1")},
                         {QStringLiteral("stack"), QStringLiteral("5000001-B12-0")}}},
            {QStringLiteral("limits"),
             QJsonObject{{QStringLiteral("up"), 0}, {QStringLiteral("down"), DownLimit}}},
            {QStringLiteral("position"), DownLimit / 100 * position},
            {QStringLiteral("speeds"),
             QJsonObject{
                 {QStringLiteral("up"), 22}, {QStringLiteral("down"), 22}, {QStringLiteral("slow"), 10}}}};
}
}

DemoBuilding::DemoBuilding(int shades, int bitsPerSecond, QObject *parent)
    : QObject(parent)
    , m_line(bitsPerSecond)
    , m_nodes(m_line.addBus())
    , m_bus(m_line.addBus())
{
    build(shades);
    m_simulation.attach(m_nodes);
}

DemoBuilding::~DemoBuilding()
{
    delete m_bus;
    m_simulation.attach(nullptr);
    delete m_nodes;
}

void DemoBuilding::build(int shades)
{
    m_site.name = tr("Harbour House");
    SiteLine line;
    line.name = tr("north");
    line.bus = tr("the simulated line");
    QVector<SiteGroup> floorGroups;
    QJsonArray nodes;
    const int perFloor = std::max(1, (shades + Floors - 1) / Floors);
    int room = 1;
    int count = 0;
    for (std::size_t i = 0; i < facades.size(); ++i) {
        const FacadeRow &facade = facades[i];
        const bool isLast = i + 1 == facades.size();
        const int columns = isLast ? perFloor - room + 1 : std::max(1, facade.columns * perFloor / 12);
        SiteGroup all{FirstFacadeGroup + static_cast<VOX::Addr>(i), QLatin1String(facade.name), {}};
        for (int floor = Floors; floor >= 1; --floor) {
            SiteGroup group{FirstFloorGroup + static_cast<VOX::Addr>(i) * 6
                                + static_cast<VOX::Addr>(Floors - floor),
                            {},
                            {}};
            for (int column = 0; column < columns && count < shades; ++column, ++count) {
                const VOX::Addr addr = FirstAddr + static_cast<VOX::Addr>(count);
                const QString label =
                    QStringLiteral("%1.%2 %3")
                        .arg(floor)
                        .arg(room + column, 2, 10, QLatin1Char('0'))
                        .arg(QLatin1String(rooms[count % static_cast<int>(std::size(rooms))]));
                all.members += addr;
                group.members += addr;
                nodes += nodeOf(addr, label, positions[count % static_cast<int>(std::size(positions))],
                                {VOX::toString(all.addr), VOX::toString(group.addr)});
                line.known += QJsonObject{{QStringLiteral("address"), VOX::toString(addr)},
                                          {QStringLiteral("type"), int{VOX::NODETYPE_TB60LV}},
                                          {QStringLiteral("label"), label}};
            }
            floorGroups += group;
        }
        line.groups += all;
        room += columns;
    }
    line.groups += floorGroups;
    // One without limits, and one that is locked.
    const auto change = [&](int index, const QString &key, const QJsonValue &value) {
        if (index >= nodes.size())
            return;
        QJsonObject node = nodes[index].toObject();
        if (value.isUndefined())
            node.remove(QStringLiteral("position"));
        node.insert(key, value);
        nodes[index] = node;
    };
    change(static_cast<int>(UnlimitedAddr - FirstAddr), QStringLiteral("limits"), QJsonValue::Undefined);
    change(static_cast<int>(LockedAddr - FirstAddr), QStringLiteral("locks"),
           QJsonObject{{QStringLiteral("network"),
                        QJsonObject{{QStringLiteral("locked"), true},
                                    {QStringLiteral("priority"), 10},
                                    {QStringLiteral("source"), QStringLiteral("00F001")}}}});
    QString problem;
    if (!m_simulation.load(QJsonObject{{QStringLiteral("nodes"), nodes}}, &problem))
        qFatal("%s", qPrintable(problem));
    m_site.lines += line;
}

void DemoBuilding::play(PanelLine &line)
{
    m_panelLine = &line;
    setPlaying(true);
}

void DemoBuilding::setPlaying(bool isPlaying)
{
    if (isPlaying)
        m_timer.start(FirstStepMs, this);
    else
        m_timer.stop();
}

void DemoBuilding::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    m_timer.start(StepMs, this);
    playStep();
}

void DemoBuilding::playStep()
{
    if (!m_panelLine)
        return;
    const Step &step = steps[m_step % static_cast<int>(std::size(steps))];
    m_panelLine->network().moveGroupTo(step.group, step.percent);
    // The first step shows motion; at the second one a node dies, and at the third one a locked one refuses.
    if (m_step == 1 && m_simulation.node(DeadAddr))
        kill(DeadAddr);
    VOXNetworkMotor *const locked = m_panelLine->network().motor(LockedAddr);
    if (m_step == 2 && locked)
        locked->moveTo(LockedTarget);
    ++m_step;
}

void DemoBuilding::setCut(bool isCut)
{
    m_line.setCut(isCut);
    Q_EMIT changed();
}

void DemoBuilding::setHour(double hour)
{
    constexpr double HoursOfSun = 4.5;
    constexpr int MostPercent = 80;
    m_hour = hour;
    for (std::size_t i = 0; m_panelLine && i < facades.size(); ++i) {
        const double height = 1 - std::abs(hour - facades[i].sunHour) / HoursOfSun;
        const int percent = std::max(0, static_cast<int>(std::lround(height * MostPercent / 10) * 10));
        m_panelLine->network().moveGroupTo(FirstFacadeGroup + static_cast<VOX::Addr>(i), percent);
    }
    // The building no longer goes its own ways.
    m_timer.stop();
    Q_EMIT changed();
}

void DemoBuilding::kill(VOX::Addr addr)
{
    VOXFault fault;
    fault.kind = VOXFault::Drop;
    fault.node = addr;
    m_simulation.addFault(fault);
    m_killed += addr;
    // Asked at once, it is missed at once.
    if (m_panelLine) {
        if (VOXNetworkNode *const node = m_panelLine->network().node(addr))
            node->refresh();
    }
    Q_EMIT changed();
}

void DemoBuilding::killAny()
{
    const auto addrs = m_simulation.addresses();
    for (const VOX::Addr addr : addrs) {
        if (!m_killed.contains(addr) && (addr - FirstAddr) % 7 == 4)
            return kill(addr);
    }
}

void DemoBuilding::revive()
{
    m_simulation.clearFaults();
    m_killed.clear();
    Q_EMIT changed();
}
