#ifndef DOCUMENTED_H
#define DOCUMENTED_H

#include "support/files.h"

#include <QJsonObject>
#include <QRegularExpression>

/// The members that docs/commands.md has for @p what in the JSON of @p command.
inline QStringList documented(const QString &command, const QString &what)
{
    QStringList members;
    const QString page = QString::fromUtf8(contents(VOX_SOURCE_DIR "/docs/commands.md"));
    for (const QString &row : page.split('\n').filter("| `" + command + "` | " + what + " |")) {
        for (auto word = QRegularExpression("`(\\w+)`").globalMatch(row.section('|', 3)); word.hasNext();)
            members += word.next().captured(1);
    }
    members.sort();
    return members;
}

/// The members of @p object that are not documented there.
inline QString undocumented(const QString &command, const QString &what, const QJsonObject &object)
{
    QStringList left = object.keys();
    for (const QString &member : documented(command, what))
        left.removeAll(member);
    return left.join(' ');
}

#endif
