#include "vox/otherprogram.h"

#include <QCoreApplication>
#include <QFile>
#include <QStandardPaths>

#include <unistd.h>

#include <vector>

QString findProgram(const QString &name, const QStringList &folders)
{
    const QString here = QCoreApplication::applicationDirPath();
    QStringList places{here};
    for (const QString &folder : folders)
        places += here + QLatin1Char('/') + folder;
    const QString beside = QStandardPaths::findExecutable(name, places);
    return beside.isEmpty() ? QStandardPaths::findExecutable(name) : beside;
}

QString becomeProgram(const QString &program, const QStringList &arguments)
{
    std::vector<QByteArray> words = {QFile::encodeName(program)};
    for (const QString &argument : arguments)
        words.push_back(argument.toLocal8Bit());
    std::vector<char *> pointers;
    pointers.reserve(words.size() + 1);
    for (QByteArray &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    ::execv(pointers.front(), pointers.data());
    return QStringLiteral("%1 cannot be started: %2").arg(program, qt_error_string());
}
