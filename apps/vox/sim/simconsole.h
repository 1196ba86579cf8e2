#ifndef SIMCONSOLE_H
#define SIMCONSOLE_H

#include <QObject>
#include <QSocketNotifier>

class FaultRules;
class Simulation;

/// Obeys lines on standard input while a simulation runs.
class SimConsole : public QObject
{
public:
    /// Both must outlive it.
    SimConsole(Simulation &simulation, FaultRules &rules);

    /// Does what @p line says, and prints what there is to say.
    void obey(const QString &line);

private:
    void readInput();
    void printStatus(bool isJson) const;

    Simulation &m_simulation;
    FaultRules &m_rules;
    QSocketNotifier m_notifier;
    QByteArray m_input;
    bool m_isOverlong = false;
};

#endif
