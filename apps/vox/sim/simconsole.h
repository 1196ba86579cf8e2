#ifndef SIMCONSOLE_H
#define SIMCONSOLE_H

#include <QObject>
#include <QSocketNotifier>

class VOXSimulation;

/// Obeys lines on standard input while a simulation runs.
class SimConsole : public QObject
{
public:
    /// @p simulation must outlive it.
    explicit SimConsole(VOXSimulation &simulation);

    /// Does what @p line says, and prints what there is to say.
    void obey(const QString &line);

private:
    void readInput();
    void addFault(const QString &words);
    QString change(const QString &line);
    void printStatus(bool isJson) const;

    VOXSimulation &m_simulation;
    QSocketNotifier m_notifier;
    QByteArray m_input;
    bool m_isOverlong = false;
};

#endif
