#ifndef PORTPROBE_H
#define PORTPROBE_H

#include "vox/line/linerests.h"
#include "vox/line/porterrors.h"

#include <QSerialPort>
#include <QVector>

#include <functional>
#include <memory>

/// Listens to a serial port with one setting after the other, for the one that gives valid frames.
class PortProbe
{
public:
    /// So many valid frames do not come by chance: no other setting is tried.
    static constexpr int EnoughFrames = 3;

    /// A rate and a parity, and what was heard with them.
    struct Setting
    {
        qint32 rate = 0;
        QSerialPort::Parity parity = QSerialPort::NoParity;
        /// The port does not take it.
        bool isRefused = false;
        int bytes = 0;
        int frames = 0;
        /// Frames whose check failed.
        int failed = 0;
        LineRests rests;
        /// Empty if the port's driver counts nothing.
        std::optional<PortErrors> errors;
    };

    /// All settings, those first that are more likely.
    static QVector<Setting> settings();

    PortProbe();
    ~PortProbe();
    Q_DISABLE_COPY_MOVE(PortProbe)

    /// Opens the port; to ask, for writing as well. False if that fails; @p problem says why.
    bool open(const QString &path, QIODevice::OpenMode mode, QString *problem);
    /// Sends @p question, in line form, once a second. Its echo does not count.
    void setQuestion(const QByteArray &question) { m_question = question; }

    /// Listens for @p ms milliseconds at most and fills in @p setting. If the port goes, @p problem says so.
    void listen(int ms, Setting *setting, QString *problem);
    /// Ends listen() early.
    void stop();
    /// Called ten times a second while listen() goes on.
    std::function<void()> onTick;

private:
    struct Listening;

    QSerialPort m_port;
    QByteArray m_question;
    Listening *m_listening = nullptr;
};

#endif
