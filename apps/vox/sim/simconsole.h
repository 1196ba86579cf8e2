#ifndef SIMCONSOLE_H
#define SIMCONSOLE_H

#include <QDeadlineTimer>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QSocketNotifier>
#include <QVector>

class VOXSimulation;
struct VOXFault;

/// Obeys lines on standard input while a simulation runs, and answers them on standard output: as text, or
/// each line with objects of JSON.
///
/// Faults, and lines that are yet to be obeyed, have numbers, which stay theirs.
class SimConsole : public QObject
{
public:
    /// @p simulation must outlive it, and gets its faults from here alone from now on.
    SimConsole(VOXSimulation &simulation, bool isJson);

    /// Does what @p line says, and prints what there is to say.
    void obey(const QString &line);
    /// Says what is wrong: on standard error, or as JSON.
    void complain(const QString &problem) const;

private:
    struct Plan
    {
        int number;
        QString line;
        QDeadlineTimer due;
    };

    void readInput();
    void obeyAt(const QString &rest);
    void obeyPlan(int number);
    void addFault(const QString &words, int forMs);
    void endFault(int number);
    void remove(const QString &number);
    void clear();
    void printFaults() const;
    void printStatus(bool isJson) const;
    void printHelp() const;
    /// Says what has happened to what there is under a number.
    void tell(const char *what, const QJsonObject &object, const QString &text) const;

    QJsonObject toJson(int index) const;
    QString toText(int index) const;

    VOXSimulation &m_simulation;
    const bool m_isJson;
    QSocketNotifier m_notifier;
    QByteArray m_input;
    bool m_isOverlong = false;

    int m_lastNumber = 0;
    /// Of the plan that is being obeyed; else 0.
    int m_dueNumber = 0;
    /// Of the faults of the simulation, in their order.
    QVector<int> m_numbers;
    /// When faults end by themselves, by their numbers.
    QHash<int, QDeadlineTimer> m_ends;
    QVector<Plan> m_plans;
};

#endif
