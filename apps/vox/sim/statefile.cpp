#include "vox/sim/statefile.h"

#include "vox/address.h"
#include "vox/console.h"
#include "vox/sim/jsonplace.h"
#include "vox/sim/networkfile.h"
#include "vox/sim/nodesettings.h"
#include "vox/sim/simulation.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>
#include <QTimerEvent>

namespace {
constexpr int SaveDelayMs = 1000;
const QString NodesKey = QStringLiteral("nodes");
const QString ModelKey = QStringLiteral("model");
}

StateFile::StateFile(const QString &name, Simulation &simulation)
    : m_name(name)
    , m_simulation(simulation)
{
}

StateFile::Result StateFile::load(QString *problem)
{
    const QFileInfo file(m_name);
    if (!file.exists())
        return Taken;
    if (!file.isFile() || !file.isReadable()) {
        *problem = QStringLiteral("cannot read %1").arg(m_name);
        return Unusable;
    }
    QJsonObject state;
    if (!readJsonFile(m_name, &state, problem))
        return Damaged;
    problem->clear();
    const JsonPlace root(state, QString(), problem);
    if (root.isObjectOf({NodesKey}) && !state.value(NodesKey).isObject())
        root[NodesKey].fail(QStringLiteral("is to be an object"));
    const QJsonObject nodes = state.value(NodesKey).toObject();
    for (auto entry = nodes.constBegin(); root.ok() && entry != nodes.constEnd(); ++entry)
        readEntry(entry.key(), entry.value(), problem);
    if (root.ok())
        return Taken;
    *problem = QStringLiteral("%1: %2").arg(m_name, *problem);
    return Damaged;
}

void StateFile::readEntry(const QString &addr, const QJsonValue &value, QString *problem)
{
    const JsonPlace place(value, QStringLiteral("%1.%2").arg(NodesKey, addr), problem);
    unsigned int number = 0;
    if (!readAddr(addr, &number)) {
        place.fail(QStringLiteral("is no address of six hexadecimal digits"));
        return;
    }
    if (!place.isObjectOf(QStringList{ModelKey} + nodeSettingKeys()))
        return;
    const Simulation::Node *node = m_simulation.find(number);
    const QString model = place[ModelKey].text();
    if (!node) {
        m_entries.insert(addr, QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact));
    } else if (model == node->model) {
        readSettings(*node->device, place);
    } else {
        printError(QStringLiteral("sim"),
                   QStringLiteral("%1: %2 was a %3 and is a %4 now; it starts fresh")
                       .arg(m_name, addr, model, node->model));
    }
}

QString StateFile::setAside()
{
    QString other = m_name + QStringLiteral(".damaged");
    for (int i = 2; QFile::exists(other); ++i)
        other = QStringLiteral("%1.damaged%2").arg(m_name).arg(i);
    m_entries.clear();
    return QFile::rename(m_name, other) ? other : QString();
}

bool StateFile::save(QString *problem)
{
    m_timer.stop();
    for (const Simulation::Node &node : m_simulation.nodes())
        update(*node.device);
    return write(problem);
}

void StateFile::noteChange(KVRDevice &node)
{
    update(node);
    if (!m_timer.isActive())
        m_timer.start(SaveDelayMs, this);
}

void StateFile::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    m_timer.stop();
    QString problem;
    if (!write(&problem))
        printError(QStringLiteral("sim"), problem);
}

void StateFile::update(KVRDevice &node)
{
    QJsonObject entry = settingsOf(node);
    entry.insert(ModelKey, m_simulation.find(node.addr())->model);
    m_entries.insert(VOX::toString(node.addr()), QJsonDocument(entry).toJson(QJsonDocument::Compact));
}

bool StateFile::write(QString *problem) const
{
    QSaveFile file(m_name);
    if (file.open(QIODevice::WriteOnly)) {
        const char *before = "{\"nodes\": {\n\"";
        for (auto entry = m_entries.constBegin(); entry != m_entries.constEnd(); ++entry) {
            file.write(before + entry.key().toLatin1() + "\": " + entry.value());
            before = ",\n\"";
        }
        file.write("\n}}\n");
        if (file.commit())
            return true;
    }
    *problem = QStringLiteral("cannot write %1: %2").arg(m_name, file.errorString());
    return false;
}
