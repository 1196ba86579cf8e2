#ifndef TERMINAL_H
#define TERMINAL_H

#include "vox/top/keys.h"

#include <QObject>
#include <QSize>
#include <QSocketNotifier>

#include <memory>

/// The terminal of standard input and output, while a program has it to itself: keys come one by one.
///
/// One at a time. As soon as it is destroyed, or the program ends by a fault, the terminal is as it was.
class Terminal : public QObject
{
    Q_OBJECT

public:
    /// Takes the terminal. queueOutput() has to be in force.
    explicit Terminal(QObject *parent = nullptr);
    ~Terminal() override;

    /// Whether standard output is a terminal that can show a screen.
    static bool isCapable();
    /// Columns and rows; 80 and 24 if the terminal does not tell.
    static QSize size();

Q_SIGNALS:
    void keyPressed(const Key &key);
    /// The terminal has been given back and taken again. Nothing is shown any more.
    void resumed();

private:
    void take();
    void giveBack();
    void readKeys();

    std::unique_ptr<QSocketNotifier> m_input;
};

#endif
