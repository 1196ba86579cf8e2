#include "panel/panel.h"

#include "panel/inventory.h"
#include "panel/shadelook.h"

#include <QDir>
#include <QJsonDocument>
#include <QSerialPortInfo>
#include <QTimerEvent>

#include <algorithm>
#include <utility>

namespace {
/// Lists and sums change five times a second at most.
constexpr int TellMs = 200;
constexpr int UnhurriedTells = 5;
}

Panel::Panel(QObject *parent)
    : QObject(parent)
    , m_selection(m_shades)
    , m_troubles(m_shades, m_lines)
    , m_title(tr("VOX panel"))
{
    const auto note = [this] { m_isNews = true; };
    connect(&m_shades, &ShadeModel::nodeChanged, this, note);
    connect(&m_shades, &ShadeModel::countChanged, this, note);
    connect(this, &Panel::linesChanged, this, note);
    m_timer.start(TellMs, this);
}

Panel::~Panel()
{
    close();
}

void Panel::close()
{
    m_selection.clear();
    const QVector<PanelLine *> lines = std::move(m_lines);
    m_lines.clear();
    m_troubles.update();
    Q_EMIT linesChanged();
    qDeleteAll(lines);
    m_demo.reset();
    m_replay.reset();
    m_siteObject = QJsonObject();
    m_stopText.clear();
}

PanelLine &Panel::addLine(const SiteLine &line, VOXBus *bus)
{
    const PanelLine::Sending sending = m_sending == Sends ? PanelLine::Sends
        : m_replay                                        ? PanelLine::Replays
                                                          : PanelLine::OnlyListens;
    auto *const added = new PanelLine(line, bus, sending, this);
    m_lines += added;
    m_shades.add(*added);
    connect(added, &PanelLine::stateChanged, this, [this, added] {
        m_isNews = true;
        // That a stop was in vain is no news once the line is there again.
        if (added->isOpen() && std::exchange(m_isStopInVain, false)) {
            m_stopText.clear();
            Q_EMIT stopTextChanged();
        }
    });
    return *added;
}

void Panel::open(const Site &site, Sending sending, const QStringList &problems)
{
    close();
    m_sending = sending;
    m_title = site.name.isEmpty() ? tr("VOX panel") : site.name;
    m_problems = problems;
    for (const SiteLine &line : site.lines) {
        PanelLine &added = addLine(line, nullptr);
        if (m_sending == Sends && line.nodes.isEmpty())
            added.scan();
    }
    Q_EMIT linesChanged();
}

void Panel::openDemo(int shades, int bitsPerSecond)
{
    close();
    m_sending = Sends;
    m_problems.clear();
    m_demo = std::make_unique<DemoBuilding>(shades, bitsPerSecond);
    m_title = m_demo->site().name;
    m_demo->play(addLine(m_demo->site().lines.first(), &m_demo->bus()));
    Q_EMIT linesChanged();
}

void Panel::openBus(const QString &url)
{
    open(Site::ofBus(url), m_sending);
}

void Panel::openConfig(const QString &fileName, Sending sending)
{
    Site site;
    QStringList problems;
    Site::load(fileName, &site, &problems);
    open(site, sending, problems);
    m_siteObject = site.object;
    m_ownFiles += QFileInfo(fileName).absoluteFilePath();
}

void Panel::openReplay(const QString &fileName)
{
    auto replay = std::make_unique<Replay>();
    QString problem;
    if (!replay->load(fileName, &problem)) {
        // What is shown stays.
        m_problems = QStringList{problem};
        Q_EMIT linesChanged();
        return;
    }
    close();
    m_sending = OnlyListens;
    m_problems = problem.isEmpty() ? QStringList() : QStringList{problem};
    m_replay = std::move(replay);
    m_title = m_replay->site().name;
    m_replay->play(addLine(m_replay->site(), &m_replay->bus()));
    Q_EMIT linesChanged();
}

QString Panel::badge() const
{
    if (m_demo)
        return tr("SIMULATED");
    if (m_replay)
        return tr("REPLAY");
    return m_sending == OnlyListens ? tr("LOOKING ONLY") : QString();
}

QString Panel::badgeReason() const
{
    if (m_demo)
        return tr("This building is simulated in this program. Nothing is sent anywhere.");
    if (m_replay)
        return tr("This is a recording: nothing can be sent to what was.");
    return m_sending == OnlyListens ? tr("Started with --look: nothing is sent, not even a stop.")
                                    : QString();
}

QVariantList Panel::lineObjects() const
{
    QVariantList objects;
    for (PanelLine *const line : m_lines)
        objects += QVariant::fromValue<QObject *>(line);
    return objects;
}

QVariantList Panel::makeCounts() const
{
    int moving = 0;
    int locked = 0;
    int unknown = 0;
    int dead = 0;
    for (const ShadeModel::Row &row : m_shades.rows()) {
        const ShadeLook look = ShadeLook::of(*row.node, row.line->isOpen() || !canSend());
        moving += look.motion != ShadeLook::Resting;
        locked += look.isLocked;
        unknown += look.state == ShadeLook::Unknown;
        dead += look.state == ShadeLook::Dead;
    }
    QVariantList counts;
    const auto add = [&](const QString &text, const char *colour) {
        counts +=
            QVariantMap{{QStringLiteral("text"), text}, {QStringLiteral("colour"), QLatin1String(colour)}};
    };
    const int all = m_shades.rowCount();
    add(all == 1 ? tr("1 shade") : tr("%1 shades").arg(all), "ink");
    if (moving > 0)
        add(tr("%1 moving").arg(moving), "accent");
    if (locked > 0)
        add(tr("%1 locked").arg(locked), "ink2");
    if (unknown > 0)
        add(tr("%1 unknown").arg(unknown), "ink2");
    if (dead > 0)
        add(tr("%1 without answer").arg(dead), "bad");
    return counts;
}

void Panel::stopAll()
{
    if (!canSend())
        return;
    for (PanelLine *const line : qAsConst(m_lines)) {
        const VOXMotion *const motion = line->network().stopAll();
        connect(motion, &VOXMotion::finished, this, [this, line](const VOXMotion *ended) {
            m_isStopInVain = !line->isOpen();
            m_stopText = ended->end() == VOXMotion::Arrived ? tr("All are at rest.") : ended->sentence();
            Q_EMIT stopTextChanged();
        });
    }
    m_stopText = tr("Stop was sent to all …");
    Q_EMIT stopTextChanged();
}

void Panel::allUp()
{
    for (PanelLine *const line : qAsConst(m_lines)) {
        if (canSend())
            line->network().moveGroupUp(VOXNetwork::Everyone);
    }
}

void Panel::allDown()
{
    for (PanelLine *const line : qAsConst(m_lines)) {
        if (canSend())
            line->network().moveGroupDown(VOXNetwork::Everyone);
    }
}

QString Panel::facadeOf(QObject *object) const
{
    const auto *const node = qobject_cast<const VOXNetworkNode *>(object);
    const PanelLine *const line = m_shades.lineOf(node);
    return line ? line->facadeOf(node->address()) : QString();
}

double Panel::positionAgeMs(QObject *object) const
{
    const auto *const motor = qobject_cast<const VOXNetworkMotor *>(object);
    return motor ? static_cast<double>(motor->positionAgeMs()) : -1;
}

bool Panel::isChecked(PanelLine *line, uint addr) const
{
    return line && m_places.isChecked(Places::keyOf(*line, addr));
}

void Panel::setChecked(PanelLine *line, uint addr, bool isChecked)
{
    if (line)
        m_places.setChecked(Places::keyOf(*line, addr), isChecked);
}

QString Panel::limitsOf(PanelLine *line, uint addr) const
{
    const VOXNetworkNode *const node = line ? line->network().node(addr) : nullptr;
    return node ? Inventory::limits(*node) : QString();
}

bool Panel::isDoubled(PanelLine *line, uint addr) const
{
    const VOXNetworkNode *const node = line ? line->network().node(addr) : nullptr;
    return node && node->isDoubled();
}

QString Panel::exportName() const
{
    return QDir::home().filePath(Inventory::plainName(m_title));
}

QString Panel::writeOwn(const QString &fileName, const QByteArray &text)
{
    const QString whole = QFileInfo(fileName).absoluteFilePath();
    if (QFileInfo::exists(whole) && !m_ownFiles.contains(whole))
        return tr("%1 is there already; choose another name. Nothing was written.").arg(whole);
    m_ownFiles += whole;
    return Inventory::write(whole, text);
}

QString Panel::exportCsv(const QString &fileName)
{
    return writeOwn(fileName,
                    Inventory::csv(m_lines, [this](const QString &key) { return m_places.isChecked(key); }));
}

QString Panel::exportSite(const QString &fileName)
{
    return writeOwn(fileName, QJsonDocument(Inventory::site(m_siteObject, m_title, m_lines)).toJson());
}

QStringList Panel::ports() const
{
    QStringList ports;
    const auto infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &info : infos)
        ports += QStringLiteral("serial://") + info.systemLocation();
    return ports;
}

QStringList Panel::captures() const
{
    constexpr int Most = 4;
    QStringList captures;
    const auto files =
        QDir::home()
            .entryInfoList({QStringLiteral("*.pcap")}, QDir::Files | QDir::Readable, QDir::Time)
            .mid(0, Most);
    for (const QFileInfo &file : files)
        captures += file.absoluteFilePath();
    return captures;
}

bool Panel::isSettled() const
{
    if (m_replay)
        return m_replay->isCaughtUp();
    const auto &rows = m_shades.rows();
    return std::none_of(rows.cbegin(), rows.cend(), [](const ShadeModel::Row &row) {
        return row.line->isOpen() && ShadeLook::of(*row.node, true).state == ShadeLook::NotAsked;
    });
}

void Panel::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    // "Read 3 s ago" grows older by itself.
    if (!m_isNews && ++m_quietTicks % UnhurriedTells != 0)
        return;
    m_isNews = false;
    m_troubles.update();
    QVariantList counts = makeCounts();
    if (counts != m_counts) {
        m_counts = std::move(counts);
        Q_EMIT countsChanged();
    }
    Q_EMIT told();
    m_selection.tellAll();
}
