#include "panel/site.h"

#include "transport/voxbusurl.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

namespace {
constexpr int MostNodes = 65536;

QString words(const char *text)
{
    return QCoreApplication::translate("Site", text);
}

/// Reads what it can, and notes what it cannot.
class Reader
{
public:
    explicit Reader(QStringList *problems)
        : m_problems(problems)
    {
    }

    Site site(const QJsonObject &object)
    {
        Site site;
        site.name = object.value(QLatin1String("name")).toString();
        const QJsonArray lines = object.value(QLatin1String("lines")).toArray();
        for (int i = 0; i < lines.size(); ++i)
            site.lines += line(lines[i].toObject(), QStringLiteral("lines[%1]").arg(i));
        if (lines.isEmpty())
            note(QStringLiteral("lines"), words("names no line"));
        return site;
    }

private:
    SiteLine line(const QJsonObject &object, const QString &path)
    {
        SiteLine line;
        line.bus = object.value(QLatin1String("bus")).toString();
        line.name = object.value(QLatin1String("name")).toString(line.bus);
        VOXBusUrl url;
        QString problem;
        if (!VOXBusUrl::read(line.bus, &url, &problem))
            note(path + QStringLiteral(".bus"), problem);
        const QJsonValue nodes = object.value(QLatin1String("nodes"));
        if (nodes.isArray())
            line.nodes = addresses(nodes.toArray(), path + QStringLiteral(".nodes"));
        const QJsonObject groups = object.value(QLatin1String("groups")).toObject();
        for (auto group = groups.begin(); group != groups.end(); ++group)
            addGroup(line, group.key(), group.value().toObject(),
                     path + QStringLiteral(".groups.") + group.key());
        return line;
    }

    void addGroup(SiteLine &line, const QString &key, const QJsonObject &object, const QString &path)
    {
        SiteGroup group;
        if (!VOX::readAddr(key, &group.addr)) {
            note(path, words("is no address: six hexadecimal digits"));
            return;
        }
        group.name = object.value(QLatin1String("name")).toString(key);
        group.members =
            addresses(object.value(QLatin1String("members")).toArray(), path + QStringLiteral(".members"));
        line.groups += group;
    }

    QVector<VOX::Addr> addresses(const QJsonArray &entries, const QString &path)
    {
        QVector<VOX::Addr> all;
        for (int i = 0; i < entries.size(); ++i) {
            const QJsonValue entry = entries[i];
            const QString text = entry.isObject()
                ? entry.toObject().value(QLatin1String("address")).toString()
                : entry.toString();
            if (!addRange(text, &all))
                note(QStringLiteral("%1[%2]").arg(path).arg(i),
                     words("is no address such as 000101, or range such as 000101-00013C"));
        }
        return all;
    }

    static bool addRange(const QString &text, QVector<VOX::Addr> *all)
    {
        VOX::Addr first = 0;
        VOX::Addr last = 0;
        const QString from = text.section(QLatin1Char('-'), 0, 0);
        const QString to = text.section(QLatin1Char('-'), -1);
        QString problem;
        if (!VOX::readNodeAddr(from, &first, &problem) || !VOX::readNodeAddr(to, &last, &problem)
            || last < first || last - first >= MostNodes)
            return false;
        for (VOX::Addr addr = first; addr <= last; ++addr)
            *all += addr;
        return true;
    }

    void note(const QString &path, const QString &problem)
    {
        *m_problems += path + QStringLiteral(": ") + problem;
    }

    QStringList *m_problems;
};

int lineOf(const QByteArray &text, int offset)
{
    return static_cast<int>(text.left(offset).count('\n')) + 1;
}
}

Site Site::read(const QJsonObject &object, QStringList *problems)
{
    return Reader(problems).site(object);
}

bool Site::load(const QString &fileName, Site *site, QStringList *problems)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        *problems += QStringLiteral("%1: %2").arg(fileName, file.errorString());
        return false;
    }
    const QByteArray text = file.readAll();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError) {
        *problems += QStringLiteral("%1:%2: %3")
                         .arg(fileName)
                         .arg(lineOf(text, error.offset))
                         .arg(error.errorString());
        return false;
    }
    QStringList found;
    *site = read(document.object(), &found);
    site->object = document.object();
    for (const QString &problem : qAsConst(found))
        *problems += QStringLiteral("%1: %2").arg(fileName, problem);
    return !site->lines.isEmpty();
}

Site Site::ofBus(const QString &bus)
{
    SiteLine line;
    line.bus = bus;
    line.name = bus.section(QLatin1Char('/'), -1);
    return {line.name, {line}, {}};
}
