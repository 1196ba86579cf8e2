#include "simulation/voxstatefile_p.h"

#include "simulation/voxjsonplace_p.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QTimerEvent>

#include <unistd.h>

namespace {
constexpr int SaveDelayMs = 1000;
const QString NodesKey = QStringLiteral("nodes");
const QString ModelKey = QStringLiteral("model");

/// The JSON text of any value. QJsonDocument takes only objects and arrays.
QByteArray toJson(const QJsonValue &value)
{
    return QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact).mid(1).chopped(1);
}

/// Writes one JSON object with a line for each node. False if not every byte can be written; a file that was
/// there is then as it was.
bool writeEntries(const QString &name, const QMap<QString, QByteArray> &entries, QString *problem)
{
    QByteArray text = "{\"nodes\": {";
    const char *before = "\n";
    for (auto entry = entries.constBegin(); entry != entries.constEnd(); ++entry) {
        text += before + toJson(entry.key()) + ": " + entry.value();
        before = ",\n";
    }
    text += "\n}}\n";
    QSaveFile file(name);
    // commit() does not tell if the last bytes, or those that the system still holds, could not be written.
    if (file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.flush()
        && ::fsync(file.handle()) == 0 && file.commit())
        return true;
    *problem = QStringLiteral("cannot write %1: %2").arg(name, file.errorString());
    return false;
}
}

VOXStateFile::VOXStateFile(const QString &name, VOXSimulation &simulation)
    : m_name(name)
    , m_simulation(simulation)
{
}

VOXStateFile::Result VOXStateFile::load(QString *problem)
{
    const QFileInfo file(m_name);
    if (!file.exists())
        return Taken;
    if (!file.isFile() || !file.isReadable()) {
        *problem = QStringLiteral("cannot read %1").arg(m_name);
        return Unusable;
    }
    QJsonObject state;
    if (!VOXJsonPlace::readFile(m_name, &state, problem))
        return Damaged;
    // Without its entries first, which may be damaged one by one.
    const QJsonObject nodes = state.value(NodesKey).toObject();
    if (state.value(NodesKey).isObject())
        state.insert(NodesKey, QJsonObject());
    if (!m_simulation.setState(state, problem)) {
        *problem = QStringLiteral("%1: %2").arg(m_name, *problem);
        return Damaged;
    }
    QStringList mistakes;
    for (auto entry = nodes.constBegin(); entry != nodes.constEnd(); ++entry) {
        QString mistake;
        if (m_simulation.setState({{NodesKey, QJsonObject{{entry.key(), entry.value()}}}}, &mistake)) {
            if (!hasNode(entry.key(), entry.value().toObject()))
                m_entries.insert(entry.key(), toJson(entry.value()));
            continue;
        }
        mistakes += QStringLiteral("%1: %2").arg(m_name, mistake);
        m_damaged.insert(entry.key(), entry.value());
    }
    *problem = mistakes.join(QLatin1Char('\n'));
    return mistakes.isEmpty() ? Taken : Damaged;
}

bool VOXStateFile::hasNode(const QString &addr, const QJsonObject &entry)
{
    VOX::Addr number = 0;
    VOX::readAddr(addr, &number);
    const QString model = m_simulation.model(number);
    const QString before = entry.value(ModelKey).toString();
    if (!model.isEmpty() && model != before)
        Q_EMIT warning(QStringLiteral("%1: %2 was a %3 and is a %4 now; it starts fresh")
                           .arg(m_name, addr, before, model));
    return !model.isEmpty();
}

QString VOXStateFile::setAside()
{
    QString other = m_name + QStringLiteral(".damaged");
    for (int i = 2; QFile::exists(other); ++i)
        other = QStringLiteral("%1.damaged%2").arg(m_name).arg(i);
    if (m_damaged.isEmpty())
        return QFile::rename(m_name, other) ? other : QString();
    QMap<QString, QByteArray> entries;
    for (auto entry = m_damaged.constBegin(); entry != m_damaged.constEnd(); ++entry)
        entries.insert(entry.key(), toJson(entry.value()));
    QString problem;
    return writeEntries(other, entries, &problem) ? other : QString();
}

bool VOXStateFile::save(QString *problem)
{
    m_timer.stop();
    const QVector<VOX::Addr> nodes = m_simulation.addresses();
    for (const VOX::Addr node : nodes)
        update(node);
    return writeEntries(m_name, m_entries, problem);
}

void VOXStateFile::noteChange(VOX::Addr node)
{
    update(node);
    if (!m_timer.isActive())
        m_timer.start(SaveDelayMs, this);
}

void VOXStateFile::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    m_timer.stop();
    QString problem;
    if (!writeEntries(m_name, m_entries, &problem))
        Q_EMIT warning(problem);
}

void VOXStateFile::update(VOX::Addr node)
{
    QJsonObject entry = m_simulation.settings(node);
    entry.insert(ModelKey, m_simulation.model(node));
    m_entries.insert(VOX::toString(node), toJson(entry));
}
