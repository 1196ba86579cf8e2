#ifndef PROGRAM_H
#define PROGRAM_H

#include <QProcess>

/// The program under test, and all that it has started: a process group of its own.
class Program : public QProcess
{
    Q_OBJECT

public:
    Program();
    /// Ends it, if it still runs.
    ~Program() override;

    /// Starts @p command, a program and its arguments, in @p folder, which a program that is named with a
    /// slash is relative to. False if that cannot be done; @p problem says why.
    bool run(const QStringList &command, const QString &folder, QString *problem);

    /// Asks it to end, and kills what is left after two seconds. Nothing that it has started runs on. True if
    /// the program itself did not have to be killed. Processes events meanwhile.
    bool end();

    bool hasEnded() const { return state() == NotRunning; }
    /// Whether it has ended by itself with @p code.
    bool hasEndedWith(int code) const
    {
        return hasEnded() && exitStatus() == NormalExit && exitCode() == code;
    }
    /// "ended with code 3", "died of signal 11 (Segmentation fault)"; what it does if it still runs.
    QString fate() const;
    /// What it has printed so far, at most the last MiB.
    const QByteArray &output() const { return m_output; }

private:
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    void setupChildProcess() override
    {
        prepareChild();
    }
#endif
    static void prepareChild();
    void signalGroup(int number) const;
    bool waitForGroup(int ms);
    static void killOrphans();

    QByteArray m_output;
    qint64 m_group = 0;
};

#endif
