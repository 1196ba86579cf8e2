#include "panel/paneloptions.h"

#include "panel/demobuilding.h"

#include <QCommandLineParser>

namespace {
constexpr int MsPerSecond = 1000;
constexpr int MostSeconds = 3600;
const QSize smallest(320, 240);
const QSize largest(7680, 4320);

QStringList views()
{
    return {QStringLiteral("facade"), QStringLiteral("line"), QStringLiteral("install"),
            QStringLiteral("replay")};
}

QStringList themes()
{
    return {QStringLiteral("light"), QStringLiteral("dark")};
}

QString tr(const char *text)
{
    return QCoreApplication::translate("PanelOptions", text);
}

/// Reads the values of options, and keeps the first mistake.
class Values
{
public:
    explicit Values(const QCommandLineParser &parser)
        : m_parser(parser)
    {
    }

    int number(const QString &option, int least, int most, int scale, int other)
    {
        if (!m_parser.isSet(option))
            return other;
        bool isNumber = false;
        const double number = m_parser.value(option).toDouble(&isNumber);
        if (!isNumber || number < least || number > most)
            fail(option, tr("a number from %1 to %2").arg(least).arg(most));
        return static_cast<int>(number * scale);
    }

    QSize size(const QString &option)
    {
        if (!m_parser.isSet(option))
            return {};
        const QStringList parts = m_parser.value(option).split(QLatin1Char('x'));
        const QSize size = parts.size() == 2 ? QSize(parts[0].toInt(), parts[1].toInt()) : QSize();
        if (size.expandedTo(smallest) != size || size.boundedTo(largest) != size)
            fail(option, tr("a size such as 1280x800, from 320x240 to 7680x4320"));
        return size;
    }

    QString oneOf(const QString &option, const QStringList &all)
    {
        QString value = m_parser.value(option);
        if (m_parser.isSet(option) && !all.contains(value))
            fail(option, all.join(tr(", ")));
        return value;
    }

    void fail(const QString &option, const QString &expected)
    {
        if (m_problem.isEmpty())
            m_problem = tr("--%1 takes %2").arg(option, expected);
    }

    const QString &problem() const { return m_problem; }

private:
    const QCommandLineParser &m_parser;
    QString m_problem;
};

void addOptions(QCommandLineParser &parser)
{
    const auto add = [&](const char *name, const QString &text, const char *value = "") {
        parser.addOption({QLatin1String(name), text, QLatin1String(value)});
    };
    parser.setApplicationDescription(tr("Shows the shades of a building, and commands them."));
    add("demo", tr("A building that is simulated here: no hardware is needed."));
    add("shades", tr("With --demo: how many shades it has."), "N");
    add("bus",
        tr("The bus, such as serial:///dev/ttyUSB0, or udp://HOST:PORT; without any option, the one that "
           "VOX_BUS names."),
        "URL");
    add("config", tr("Several lines, from the site file of vox bridge."), "FILE");
    add("places", tr("Where the places of shades on a picture are kept."), "FILE");
    add("replay", tr("What was, from a capture."), "FILE");
    add("find", tr("Begins with the shade chosen whose label or address has this in it."), "TEXT");
    add("look", tr("Sends nothing at all."));
    add("view", tr("Begins with this view: facade, line, install or replay."), "NAME");
    add("theme", tr("light or dark; as the desktop is if not given."), "NAME");
    add("size", tr("The size of the window, such as 1280x800."), "WxH");
    add("picture", tr("Saves a picture of the window, and ends."), "FILE");
    add("capture", tr("With --picture: saves what was on the first line, too."), "FILE");
    add("after", tr("With --picture: how many seconds after the start; 3 if not given."), "SECONDS");
}
}

PanelOptions PanelOptions::read(const QStringList &arguments)
{
    PanelOptions options;
    QCommandLineParser parser;
    addOptions(parser);
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, tr("Shows this help."));
    parser.addOption(help);
    const QCommandLineOption version = parser.addVersionOption();
    const bool isRead = parser.parse(arguments);
    Values values(parser);
    options.isDemo = parser.isSet(QStringLiteral("demo"));
    options.shades =
        values.number(QStringLiteral("shades"), 1, DemoBuilding::MostShades, 1, DemoBuilding::DefaultShades);
    options.bus = parser.value(QStringLiteral("bus"));
    if (options.bus.isEmpty() && parser.optionNames().isEmpty())
        options.bus = qEnvironmentVariable("VOX_BUS");
    options.config = parser.value(QStringLiteral("config"));
    options.places = parser.value(QStringLiteral("places"));
    options.replay = parser.value(QStringLiteral("replay"));
    options.find = parser.value(QStringLiteral("find"));
    options.isLooking = parser.isSet(QStringLiteral("look"));
    options.picture = parser.value(QStringLiteral("picture"));
    options.capture = parser.value(QStringLiteral("capture"));
    options.afterMs = values.number(QStringLiteral("after"), 0, MostSeconds, MsPerSecond, options.afterMs);
    options.size = values.size(QStringLiteral("size"));
    options.view = values.oneOf(QStringLiteral("view"), views());
    options.theme = values.oneOf(QStringLiteral("theme"), themes());
    const int sources =
        options.isDemo + !options.bus.isEmpty() + !options.config.isEmpty() + !options.replay.isEmpty();
    QString problem = isRead ? values.problem() : parser.errorText();
    if (problem.endsWith(QLatin1Char('.')))
        problem.chop(1);
    if (problem.isEmpty() && sources > 1)
        problem = tr("--demo, --bus, --config and --replay exclude each other");
    const QStringList surplus = parser.positionalArguments();
    if (problem.isEmpty() && !surplus.isEmpty())
        problem = tr("'%1' is no option").arg(surplus.first());
    if (parser.isSet(help)) {
        options.kind = Help;
        options.text = parser.helpText();
    } else if (parser.isSet(version)) {
        options.kind = Version;
    } else if (!problem.isEmpty()) {
        options.kind = Wrong;
        options.text = problem;
    }
    return options;
}
