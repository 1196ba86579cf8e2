#include "panel/theme.h"

#include <QFont>
#include <QFontDatabase>

namespace {
struct ColourRow
{
    const char *name;
    QRgb light;
    QRgb dark;
};

const ColourRow colours[] = {
    {"page", 0xfff4f5f2, 0xff14181c},         {"surface", 0xffffffff, 0xff1d2328},
    {"wall", 0xffe4e1da, 0xff262d33},         {"ink", 0xff1d2329, 0xffeceff1},
    {"ink2", 0xff525a62, 0xffa9b3bc},         {"rule", 0xffd3d3cc, 0xff3a444d},
    {"outline", 0xff767c82, 0xff8792a0},      {"accent", 0xff0b5cad, 0xff7db8f5},
    {"onAccent", 0xffffffff, 0xff0b1d30},     {"ok", 0xff1f7a4d, 0xff6fcf9a},
    {"okTint", 0xffe3f3ea, 0xff17352a},       {"warning", 0xff8a5a00, 0xfff0be5a},
    {"warningTint", 0xfffff3d6, 0xff3a2f14},  {"bad", 0xffb3261e, 0xffff8a80},
    {"badTint", 0xfffbe4e1, 0xff421e1c},      {"stopButton", 0xffc62828, 0xffd23530},
    {"onStopButton", 0xffffffff, 0xffffffff}, {"frame", 0xff59616a, 0xff95a0aa},
    {"glass", 0xff5a88a6, 0xff2c4557},        {"glassLight", 0xff7ba1ba, 0xff3b566a},
    {"cloth", 0xfff7f1e6, 0xffc9bea8},        {"hem", 0xff3a3226, 0xff15120d},
    {"laneUser", 0xff0b5cad, 0xff7db8f5},     {"laneReadBack", 0xff4f9a94, 0xff5fb0a8},
    {"lanePoll", 0xff7b90a3, 0xff5f7385},     {"laneOther", 0xffb58a3c, 0xffd0a455},
};
static_assert(std::size(colours) == Theme::RoleCount);

struct SizeRow
{
    const char *name;
    int pixels;
};

const SizeRow sizes[] = {
    {"topBar", 56}, {"sidePanel", 296}, {"narrowSidePanel", 280},
    {"strip", 104}, {"margin", 16},     {"button", 44},
    {"radius", 6},  {"gap4", 4},        {"gap8", 8},
    {"gap12", 12},  {"gap16", 16},      {"gap24", 24},
    {"gap32", 32},  {"gap48", 48},      {"tableRow", 36},
};

struct FontRow
{
    const char *name;
    int pixels;
    bool isBold;
    bool isFixed;
};

const FontRow fonts[] = {
    {"titleFont", 20, true, false},    {"sectionFont", 16, true, false},
    {"controlFont", 14, false, false}, {"strongFont", 14, true, false},
    {"textFont", 13, false, false},    {"strongTextFont", 13, true, false},
    {"smallFont", 12, false, false},   {"strongSmallFont", 12, true, false},
    {"tinyFont", 11, false, false},    {"strongTinyFont", 11, true, false},
    {"fixedFont", 12, false, true},
};

QFont font(const FontRow &row)
{
    // Where the first family is missing, the second one has digits of one width, too.
    QFont font(QStringLiteral("Open Sans"));
    font.setFamilies(row.isFixed
                         ? QStringList{QStringLiteral("DejaVu Sans Mono"), QStringLiteral("monospace")}
                         : QStringList{QStringLiteral("Open Sans"), QStringLiteral("DejaVu Sans")});
    font.setPixelSize(row.pixels);
    font.setWeight(row.isBold ? QFont::DemiBold : QFont::Normal);
    return font;
}
}

Theme::Theme(Mode mode, QObject *parent)
    : QQmlPropertyMap(this, parent)
    , m_mode(mode)
{
    for (const SizeRow &row : sizes)
        insert(QLatin1String(row.name), row.pixels);
    for (const FontRow &row : fonts)
        insert(QLatin1String(row.name), font(row));
    setMode(mode);
    // Written by a page.
    connect(this, &QQmlPropertyMap::valueChanged, this, [this](const QString &name, const QVariant &value) {
        if (name == QLatin1String("isDark"))
            setMode(value.toBool() ? Dark : Light);
    });
}

QColor Theme::colour(Role role, Mode mode)
{
    const ColourRow &row = colours[role];
    return QColor::fromRgb(mode == Dark ? row.dark : row.light);
}

QString Theme::name(Role role)
{
    return QLatin1String(colours[role].name);
}

void Theme::setMode(Mode mode)
{
    m_mode = mode;
    for (int role = 0; role < RoleCount; ++role)
        insert(name(static_cast<Role>(role)), colour(static_cast<Role>(role)));
    insert(QStringLiteral("isDark"), mode == Dark);
}
