#ifndef PROGRAM_H
#define PROGRAM_H

#include "support/udppair.h"

#include <QProcess>
#include <QtTest>

#include <csignal>

const QString Program = VOX_PROGRAM;
const QString Floor = "--config \"" VOX_SOURCE_DIR "/examples/network/floor.json\"";

inline void start(QProcess &process, const QString &line, const QString &bus)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("VOX_BUS", bus);
    process.setProcessEnvironment(environment);
    process.start(Program, QProcess::splitCommand(line));
}

/// The exit code of a process that ends by itself or at a signal.
inline int exitCode(QProcess &process, int signal = 0)
{
    if (signal != 0 && process.processId() > 0)
        ::kill(static_cast<pid_t>(process.processId()), signal);
    const bool isDone = process.waitForFinished() && process.exitStatus() == QProcess::NormalExit;
    return isDone ? process.exitCode() : -1;
}

inline QString multicastUrl()
{
    return QString("mcast://239.255.71.15:%1").arg(freeUdpPorts().first);
}

/// What a process says: exit code, output and, behind a '!', what is printed as an error.
inline QByteArray result(QProcess &process)
{
    const QByteArray code = QByteArray::number(exitCode(process));
    const QByteArray error = process.readAllStandardError();
    return code + ' ' + process.readAllStandardOutput() + (error.isEmpty() ? error : "! " + error);
}

inline QByteArray run(const QString &line, const QString &bus = QString())
{
    QProcess process;
    start(process, line, bus);
    return result(process);
}

/// The same of a script, which ends with the code of what has failed in a pipeline.
inline QByteArray shell(const QString &script, const QString &bus)
{
    QProcess process;
    const QString prelude("set -o pipefail; export VOX_BUS='%1'; vox() { '%2' \"$@\"; }; %3");
    process.start("bash", {"-c", prelude.arg(bus, Program, script)});
    return result(process);
}

/// A simulation on ports that the system chose, or on another bus, ready to be called.
struct Simulation
{
    explicit Simulation(const QString &options, const QString &ownBus = QString())
    {
        const auto ports = freeUdpPorts();
        const auto url = [&](int port, int local) {
            const QString udp("udp://127.0.0.1:%1?local=%2&bind=127.0.0.1");
            return ownBus.isEmpty() ? udp.arg(port).arg(local) : ownBus;
        };
        // A file's bus goes before that of the environment.
        start(process, QString("sim %1 --bus %2").arg(options, url(ports.second, ports.first)), QString());
        process.waitForReadyRead(10000);
        const QList<QByteArray> words = process.readAllStandardOutput().split(' ');
        QCOMPARE(words.value(0), QByteArray("ready"));
        bus = ownBus == "pty:" ? words.value(1).chopped(1) : url(ports.first, ports.second);
    }
    ~Simulation() { exitCode(process, SIGKILL); }
    QByteArray run(const QString &line) const { return ::run(line, bus); }

    QString bus;
    QProcess process;
};

#endif
