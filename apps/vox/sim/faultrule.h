#ifndef FAULTRULE_H
#define FAULTRULE_H

#include "messages/voxmessage.h"

#include <QString>
#include <QVector>

#include <random>

/// What is wrong with the answers of emulated nodes, in one line of words:
///
///     KIND [VALUE] [ADDRESS|all] [command NAME] [probability P] [count N]
struct FaultRule
{
    enum Kind { Drop, Delay, Corrupt, Cut, Twice, Nack, From, Noise };

    /// False if @p words are none; @p problem says what is wrong with them.
    static bool read(const QString &words, FaultRule *rule, QString *problem);
    /// The kinds, with what they do, a line each.
    static QString help();

    /// In the words that it is read from.
    QString words;
    Kind kind = Drop;
    /// Milliseconds, bytes, the status of a NACK or an address.
    int value = 0;
    bool isForAll = true;
    unsigned int addr = 0;
    /// Of the request or of the answer; empty for all.
    QString command;
    double probability = 1;
    /// How often it will still happen; -1 for ever.
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

/// The rules in force, and the dice. One seed makes the same faults again.
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

    /// What becomes of @p answer to the request @p requestCmd, all that applies together.
    FaultyAnswer applyTo(const VOXMessage &answer, unsigned char requestCmd);

private:
    bool happens(FaultRule &rule, const VOXMessage &answer, unsigned char requestCmd);
    QByteArray noise(int count);

    QVector<FaultRule> m_rules;
    std::mt19937 m_random;
};

#endif
