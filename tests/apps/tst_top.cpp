#include "simulation/voxline.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/captures.h"
#include "support/columns.h"
#include "support/documented.h"
#include "support/files.h"
#include "transport/voxbus.h"
#include "vox/top/keys.h"
#include "vox/top/topview.h"

#include <QJsonArray>
#include <QtTest>

#include <csignal>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

/// The nodes of a line as top shows them: on a screen, whoever has sent the frames.
class tst_Top : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    static void initTestCase();
    void pictures_data();
    void pictures();
    void aCaptureShowsTheSame();
    void theLoadIsThatOfItsRate();
    void onlyChangesAreDrawn();
    void keys();
    void sorting();
    void aFullDisk();
    void terminals_data();
    void terminals();
    void withoutAScreen();
};

namespace {
/// A terminal of the simplest kind: what it shows, and which lines are red.
struct Picture
{
    explicit Picture(QSize size)
        : rows(size.height())
        , reds(size.height())
    {
    }

    void feed(const QByteArray &bytes)
    {
        static const QRegularExpression part("\x1b\\[([?0-9;]*)([A-Za-z])|[^\x1b]+");
        for (auto all = part.globalMatch(QString::fromUtf8(bytes)); all.hasNext();) {
            const QRegularExpressionMatch match = all.next();
            const QString kind = match.captured(2), number = match.captured(1);
            if (kind == "J")
                *this = Picture(QSize(0, rows.size()));
            else if (kind == "H")
                row = number.isEmpty() ? 0 : number.section(';', 0, 0).toInt() - 1;
            else if (kind == "m" && number != "0")
                reds[row] = number == "31";
            else if (kind.isEmpty())
                rows[row] = match.captured();
        }
    }

    QVector<QString> rows;
    QVector<bool> reds;
    int row = 0;
};

/// A building at 4800 bit/s, and top, which asks.
struct Building
{
    Building()
    {
        const auto motor = [](const char *addr, const char *label, int position) {
            return QJsonObject{{"model", "TB20"},
                               {"address", addr},
                               {"label", label},
                               {"limits", QJsonObject{{"up", 0}, {"down", 4000}}},
                               {"position", position}};
        };
        const QJsonObject gateway = {{"model", "NODE"}, {"address", "000401"}, {"label", "Gateway"}};
        simulation.load(
            {{"nodes",
              QJsonArray{motor("000101", "Lobby", 1000), motor("000102", "Bar\x1b[2J", 4000),
                         motor("000103", "Hall", 0), motor("000201-00021E", "Office {n}", 2000), gateway}}});
        simulation.attach(line.addBus(&line));
        top.onFound = [this](const LineItem &item) {
            items.push_back(item);
            table.take(item);
        };
    }
    /// What happens to a building in two minutes.
    void live()
    {
        for (int addr = 0x201; addr <= 0x21e; ++addr)
            top.network().add(static_cast<VOX::Addr>(addr));
        pass(60);
        simulation.addFault("drop 000102");
        simulation.addFault("corrupt 000103");
        pass(60);
        simulation.addFault("nack NODE_IS_LOCKED 000201 command CTRL_MOVETO");
        top.network().motor(0x201)->moveTo(10);
        top.network().motor(0x101)->moveTo(75);
        pass(3);
    }
    void pass(int seconds)
    {
        for (; seconds > 0; --seconds) {
            VOXVirtualTime::advance(1000);
            table.setTime(top.nowNs());
        }
    }

    VOXLine line{4800};
    VOXSimulation simulation;
    AskingLine top{line.addBus(&line), "serial:///dev/ttyUSB0"};
    TopTable table{top.network()};
    TopView view{top, table};
    std::vector<LineItem> items;
};

/// What comes over the line of a building when top starts.
struct Capture
{
    Capture()
    {
        Building building;
        building.pass(20);
        writeCapture(name, building.items);
    }

    const QTemporaryDir folder;
    const QString name = folder.filePath("line.pcap");
};

/// The program in a terminal of its own.
struct InTerminal
{
    explicit InTerminal(const QStringList &arguments, const char *term = "xterm")
    {
        const winsize window = {24, 80, 0, 0};
        pid = ::forkpty(&master, nullptr, nullptr, &window);
        if (pid != 0)
            return;
        ::setenv("TERM", term, 1);
        QList<QByteArray> words = {VOX_PROGRAM};
        for (const QString &argument : arguments)
            words += argument.toLocal8Bit();
        std::vector<char *> raw;
        for (QByteArray &word : words)
            raw.push_back(word.data());
        raw.push_back(nullptr);
        ::execv(raw.front(), raw.data());
        ::_exit(127);
    }
    ~InTerminal()
    {
        ::kill(pid, SIGKILL);
        if (!hasEnded)
            ::waitpid(pid, nullptr, 0);
        ::close(master);
    }
    Q_DISABLE_COPY_MOVE(InTerminal)

    void type(const QByteArray &keys) const
    {
        QCOMPARE(int(::write(master, keys.constData(), std::size_t(keys.size()))), keys.size());
    }
    /// Reads until @p text has come; false after ten seconds, or if there is nobody any more.
    bool hasShown(const QByteArray &text)
    {
        for (int tries = 0; tries < 100 && !shown.contains(text); ++tries) {
            pollfd wanted = {master, POLLIN, 0};
            char bytes[4096];
            const ssize_t count = ::poll(&wanted, 1, 100) > 0 ? ::read(master, bytes, sizeof bytes) : 0;
            if (count < 0)
                break;
            shown += QByteArray(bytes, int(count));
        }
        return shown.contains(text);
    }
    /// The status with which it has ended; -1 if it still runs after ten seconds.
    int status()
    {
        int result = -1;
        for (int tries = 0; tries < 200 && !hasEnded; ++tries) {
            hasEnded = ::waitpid(pid, &result, WNOHANG) == pid;
            if (!hasEnded)
                ::poll(nullptr, 0, 50);
        }
        return hasEnded ? result : -1;
    }

    unsigned int mode() const
    {
        termios settings{};
        ::tcgetattr(master, &settings);
        return settings.c_lflag;
    }
    bool hasStopped() const
    {
        int result = 0;
        return ::waitpid(pid, &result, WUNTRACED) == pid && WIFSTOPPED(result);
    }

    int master = -1;
    pid_t pid = -1;
    QByteArray shown;
    bool hasEnded = false;
};

const char *const EndOfScreen = "\x1b[?25h\x1b[?1049l";
}

void tst_Top::initTestCase()
{
    QLoggingCategory::setFilterRules("vox.bus=false\n*.warning=false");
}

void tst_Top::pictures_data()
{
    const auto row = columns<QSize, QStringList>("size", "rows");
    // A row by its number, and how it begins; ! if it is red.
    row("80 x 24", {80, 24},
        {R"(0 vox top  serial:///dev/ttyUSB0  \(asking\) {32}..:..:..$)", R"(1 load \[#)",
         "3 NODE   LABEL            CLOTH         STATE ",
         R"(4 000101 Lobby            \[##....\]  ..% closing )",
         R"(!5 000102 Bar\?\[2J +\[######\] 100% silent )",
         R"(!6 000103 Hall             \[......\]   0% damaged )",
         R"(7 000201 Office 1         \[##[#.]...\]  4.% opening )", "22 000210 Office 16 ",
         "23 s sort: address .* 1-19 of 34$"});
    row("120 x 40", {120, 40},
        {R"(4 000101 Lobby            \[#+[.]+\]  ..% closing )", "!5 000102 .* since ..:..:..$",
         "!6 000103 .* since ..:..:..$", "7 000201 .* NODE_IS_LOCKED  ..:..:..$",
         "37 000401 Gateway +- +[0-9]", "38 $", "39 s sort: address .* 1-34 of 34$"});
}

void tst_Top::pictures()
{
    QFETCH(QSize, size);
    QFETCH(QStringList, rows);
    Building building;
    building.live();
    Screen screen(size, true);
    Picture picture(size);
    picture.feed(screen.draw(building.view.lines(size)));
    for (const QString &row : qAsConst(rows)) {
        const bool isRed = row.startsWith('!');
        const int index = row.mid(isRed).section(' ', 0, 0).toInt();
        const QRegularExpression begin('^' + row.section(' ', 1));
        QVERIFY2(picture.rows[index].contains(begin),
                 qPrintable(row + " is not in\n" + picture.rows.toList().join('\n')));
        QCOMPARE(list(row, picture.reds[index]), list(row, isRed));
        QVERIFY(picture.rows[index].size() <= size.width());
    }
}

// There is one way from frames to rows.
void tst_Top::aCaptureShowsTheSame()
{
    Building building;
    building.live();
    PlayedLine played(building.items, 0, "line.pcap");
    TopTable table(played.network());
    played.onFound = [&](const LineItem &item) { table.take(item); };
    QVERIFY(VOXVirtualTime::runUntil([&] { return played.isOver(); }, 1000));
    table.setTime(building.top.nowNs());
    const auto text = [](const TopTable &shown) {
        QStringList rows;
        for (const TopRow &row : shown.rows())
            rows += row.toString(120);
        return rows;
    };
    const QStringList heard = text(table), asked = text(building.table);
    QCOMPARE(heard.size(), asked.size());
    for (int i = 0; i < asked.size(); ++i)
        QCOMPARE(heard.at(i), asked.at(i));
}

// 480 bytes take a second at 5280 bit/s, of the ten that count.
void tst_Top::theLoadIsThatOfItsRate()
{
    struct Line : HeardLine
    {
        using HeardLine::HeardLine;
        using HeardLine::take;
        qint64 nowNs() const override { return 1; }
        QString name() const override { return QString(); }
        void hear()
        {
            onFound = [](const LineItem &) {}, take(LineItem::noFrame(QByteArray(480, '?'), 0));
        }
    };
    for (const auto &[rate, percent] : {std::pair(5280, 10), {10560, 5}, {1056, 50}}) {
        Line line(rate);
        line.hear();
        QCOMPARE(line.loadPercent(), percent);
    }
}

void tst_Top::onlyChangesAreDrawn()
{
    for (const bool hasColour : {true, false}) {
        Screen screen({10, 3}, hasColour);
        const QByteArray red = hasColour ? "\x1b[31m" : "", normal = hasColour ? "\x1b[0m" : "";
        const auto row = [&](const QVector<Screen::Line> &lines, const QByteArray &bytes) {
            QCOMPARE(screen.draw(lines), bytes);
        };
        row({{"one"}, {"two", Screen::Bad}},
            "\x1b[H\x1b[2J\x1b[1;1Hone\x1b[K\x1b[2;1H" + red + "two" + normal + "\x1b[K");
        row({{"one"}, {"two", Screen::Bad}}, "");
        row({{"one"}, {"two"}}, "\x1b[2;1Htwo\x1b[K");
        row({{"one"}, {"two"}, {"a line too long"}, {"out"}}, "\x1b[3;1Ha line too");
        row({{"o\x1b\nn"}}, "\x1b[1;1Ho??n\x1b[K\x1b[2;1H\x1b[K\x1b[3;1H\x1b[K");
        screen.setSize({10, 1});
        row({{"one"}, {"two"}}, "\x1b[H\x1b[2J\x1b[1;1Hone\x1b[K");
    }
}

void tst_Top::keys()
{
    const auto row = [](const char *bytes, const char *kinds) {
        const char *const names[] = {"",     "Enter",  "Escape",   "Backspace", "Suspend", "Up",
                                     "Down", "PageUp", "PageDown", "Home",      "End"};
        QStringList read;
        for (const Key &key : Key::read(bytes))
            read += key.kind == Key::Character ? QString(key.character) : QString(names[key.kind]);
        QCOMPARE(list(bytes, read.join(' ')), list(bytes, kinds));
    };
    row("q", "q");
    row("\x1b[A\x1bOBs", "Up Down s");
    row("\x1b", "Escape");
    row("\x1b\x1b[B", "Escape Down");
    row("\x1b[5~\x1b[6~\x1b[H\x1b[4~", "PageUp PageDown Home End");
    row("\x1b[15~\x1b[1;5Cx", "x"); // F5, Ctrl-right
    row("a\x7f\x1a\r", "a Backspace Suspend Enter");
    row("\x1b[", "");
}

void tst_Top::sorting()
{
    Building building;
    building.live();
    const auto shown = [&](const char *keys) {
        for (const Key &key : Key::read(keys))
            building.view.handleKey(key);
        QStringList addrs;
        for (const TopRow &row : building.view.rows())
            addrs += row.address();
        return QString(addrs.mid(0, 2).join(' ') + ", %1").arg(addrs.size());
    };
    QCOMPARE(shown(""), QString("000101 000102, 34"));
    QCOMPARE(shown("s"), QString("000102 000103, 34")); // by trouble
    QCOMPARE(shown("s"), QString("000102 000401, 34")); // by label
    QCOMPARE(shown("sss/off\x7f"
                   "f\r"),
             QString("000201 000202, 30"));
    QCOMPARE(shown("/\x7f\x7f\x7fSILENT\r"), QString("000102, 1"));
    QCOMPARE(shown("/lobby\x1b"), QString("000102, 1"));
    QCOMPARE(shown("\x1b"), QString("000101 000102, 34"));
    // Held, while time goes on.
    QVERIFY(shown("p").endsWith("34"));
    building.simulation.clearFaults();
    building.pass(400);
    QCOMPARE(shown("s"), QString("000102 000103, 34"));
    QCOMPARE(building.view.rows().first().state, QString("silent"));
    QVERIFY(shown("p").endsWith("34"));
    QCOMPARE(building.view.rows().first().badSinceNs, qint64(0));
    // No further than there are rows.
    building.view.lines({80, 24});
    shown("\x1b[6~\x1b[6~\x1b[6~\x1b[B");
    QVERIFY(building.view.lines({80, 24}).last().text.endsWith(" 16-34 of 34"));
    shown("\x1b[5~\x1b[A");
    QVERIFY(building.view.lines({80, 24}).last().text.endsWith(" 1-19 of 34"));
}

void tst_Top::aFullDisk()
{
    const QTemporaryDir folder;
    Building building;
    building.pass(20);
    QString problem;
    QVERIFY2(building.view.save(folder.filePath("rows.json"), &problem), qPrintable(problem));
    const QJsonObject lobby =
        QJsonDocument::fromJson(contents(folder.filePath("rows.json"))).array().at(0).toObject();
    QCOMPARE(list(lobby["label"].toString(), lobby["percent"].toInt(), lobby["since"].isNull()),
             list("Lobby", 25, true));
    QVERIFY2(building.view.save(folder.filePath("rows.txt"), &problem), qPrintable(problem));
    QVERIFY(contents(folder.filePath("rows.txt")).contains("\n000103 Hall "));
    const QString full = folder.filePath("full.json");
    QVERIFY(!onAFullDisk([&] { return building.view.save(full, &problem); }));
    QVERIFY2(problem.startsWith("cannot write " + full + ": "), qPrintable(problem));
    QVERIFY(!QFile::exists(full));
}

void tst_Top::terminals_data()
{
    const auto row = columns<QByteArray, int, int>("keys", "signal", "status");
    row("q", "q", 0, 0);
    row("other keys, and q", "ss/off\rpp\x1b[6~q", 0, 0);
    row("Ctrl-C", "\x03", 0, 0);
    row("SIGTERM", "", SIGTERM, 0);
    row("SIGHUP", "", SIGHUP, 0);
    row("a fault", "", SIGABRT, SIGABRT);
}

// The terminal is as it was, however top ends.
void tst_Top::terminals()
{
    QFETCH(QByteArray, keys);
    QFETCH(int, signal);
    QFETCH(int, status);
    const Capture capture;
    InTerminal top({"top", capture.name, "--speed", "1000"});
    QVERIFY(top.hasShown("Lobby"));
    QCOMPARE(top.mode() & (ICANON | ECHO), 0u);
    // Another size, and all is drawn anew.
    const winsize window = {30, 120, 0, 0};
    top.shown.clear();
    ::ioctl(top.master, TIOCSWINSZ, &window);
    QVERIFY(top.hasShown("\x1b[30;1H"));
    // Out of the way for a while, and back.
    top.type("\x1a");
    QVERIFY(top.hasShown(EndOfScreen) && top.hasStopped());
    QCOMPARE(top.mode() & (ICANON | ECHO), unsigned(ICANON | ECHO));
    top.shown.clear();
    ::kill(top.pid, SIGCONT);
    QVERIFY(top.hasShown("Lobby"));
    top.type(keys);
    if (signal != 0)
        ::kill(top.pid, signal);
    QVERIFY(top.hasShown(EndOfScreen));
    QCOMPARE(top.status(), status);
    QCOMPARE(top.mode() & (ICANON | ECHO), unsigned(ICANON | ECHO));
}

void tst_Top::withoutAScreen()
{
    const Capture capture;
    InTerminal dumb({"top", capture.name}, "dumb");
    QVERIFY(dumb.hasShown("000401 Gateway"));
    QVERIFY(!dumb.shown.contains('\x1b'));
    QCOMPARE(dumb.status(), 0);
    InTerminal json({"top", capture.name, "--json"});
    QVERIFY(json.hasShown("\"address\":\"000401\""));
    for (const QByteArray &text : json.shown.left(json.shown.lastIndexOf('\n')).split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(text).object();
        const bool isLine = object.contains("line");
        QCOMPARE(object.keys(),
                 documented("vox top",
                            isLine ? "the line, when its problem changes, or its load by 10 %"
                                   : "a node, when more has changed than that more answers came"));
        if (isLine)
            QCOMPARE(object["line"].toObject().keys(), documented("vox top", "`line`"));
    }
    QCOMPARE(json.status(), 0);
    // Nobody reads, and then nobody is there.
    InTerminal slow({"top", capture.name, "--speed", "5"});
    ::poll(nullptr, 0, 500);
    ::kill(slow.pid, SIGTERM);
    QCOMPARE(slow.status(), 0);
    InTerminal gone({"top", capture.name});
    QVERIFY(gone.hasShown("LABEL"));
    ::close(std::exchange(gone.master, -1));
    QVERIFY(gone.status() != -1);
}

static const VOXVirtualTime virtualTime;
QTEST_GUILESS_MAIN(tst_Top)
#include "tst_top.moc"
