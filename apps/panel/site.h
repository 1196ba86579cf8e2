#ifndef SITE_H
#define SITE_H

#include <vox/messages/vox.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QVector>

/// Nodes that hear one address together.
struct SiteGroup
{
    VOX::Addr addr = 0;
    QString name;
    QVector<VOX::Addr> members;
};

/// A line of a site.
struct SiteLine
{
    QString name;
    QString bus;
    QVector<VOX::Addr> nodes;
    /// As VOXNetwork::knownNodes() gives them: names are there at once.
    QJsonArray known;
    QVector<SiteGroup> groups;
};

/// The lines of a building, from the file that the bridge has, too: what is only for the bridge is left out.
struct Site
{
    /// What is wrong is named with its path, and left out; the rest is taken.
    static Site read(const QJsonObject &object, QStringList *problems);
    /// A file. False, with @p problems saying why, if there is no line in it.
    static bool load(const QString &fileName, Site *site, QStringList *problems);
    /// One line without groups.
    static Site ofBus(const QString &bus);

    QString name;
    QVector<SiteLine> lines;
    /// All of the file, also what is only for the bridge.
    QJsonObject object{};
};

#endif
