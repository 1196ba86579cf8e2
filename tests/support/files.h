#ifndef FILES_H
#define FILES_H

#include <QFile>

/// What is in the file @p name; nothing if it cannot be read.
inline QByteArray contents(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline void setContents(const QString &name, const QByteArray &bytes)
{
    QFile file(name);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

#endif
