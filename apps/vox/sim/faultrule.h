#ifndef FAULTRULE_H
#define FAULTRULE_H

#include "messages/voxmessage.h"

#include <QString>
#include <QVector>

#include <random>

/// A fault in the answers of emulated nodes, in one line of words:
///
///     KIND [VALUE] [ADDRESS|all] [command NAME] [probability P] [count N]
struct FaultRule
{
    enum Kind { Drop, Delay, Corrupt, Cut, Twice, Nack, From, Noise };

    /// False if @p words are no rule; @p problem says what is wrong with them.
    static bool read(const QString &words, FaultRule *rule, QString *problem);
    /// A line for each kind of fault, with what it does.
    static QString help();

    /// The words that it was read from.
    QString words;
    Kind kind = Drop;
    /// Milliseconds, bytes, the status of a NACK or an address.
    int value = 0;
    bool isForAll = true;
    unsigned int addr = 0;
    /// The command of the request or of the answer; empty for all.
    QString command;
    double probability = 1;
    /// How often the fault will still happen; -1 for ever.
    int count = -1;
};

/// An answer on its way to the line, and what the rules have done to it.
struct FaultyAnswer
{
    /// In line form.
    QByteArray bytes;
    int delayMs = 0;
    int copies = 1;
    bool isTouched = false;
};

/// The rules in force, and the random numbers. The same seed makes the same faults again.
class FaultRules
{
public:
    explicit FaultRules(quint32 seed)
        : m_random(seed)
    {
    }

    const QVector<FaultRule> &rules() const { return m_rules; }
    void add(const FaultRule &rule) { m_rules += rule; }
    void clear() { m_rules.clear(); }

    /// Applies all rules that fit to @p answer, which answers the request @p requestCmd.
    FaultyAnswer applyTo(const VOXMessage &answer, unsigned char requestCmd);

private:
    bool happens(FaultRule &rule, const VOXMessage &answer, unsigned char requestCmd);
    QByteArray noise(int count);

    QVector<FaultRule> m_rules;
    std::mt19937 m_random;
};

#endif
