#ifndef FILES_H
#define FILES_H

#include <QFile>

#include <csignal>
#include <sys/resource.h>

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

/// Does something on a disk that is full, which a limit of 100 bytes to a file stands for.
template <typename Act>
auto onAFullDisk(const Act &act)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit full = {100, RLIM_INFINITY}, free = {RLIM_INFINITY, RLIM_INFINITY};
    ::setrlimit(RLIMIT_FSIZE, &full);
    const auto result = act();
    ::setrlimit(RLIMIT_FSIZE, &free);
    return result;
}

#endif
