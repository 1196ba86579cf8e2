#include "qml/pagearguments_p.h"

#include <QQmlEngine>
#include <QStringList>

#include <cmath>

namespace {
constexpr int WholeWay = 100;

/// False for fractions, infinities and everything else that is no number.
bool isWhole(const QJSValue &value)
{
    return value.isNumber() && std::trunc(value.toNumber()) == value.toNumber();
}

QString range(const QString &what, int first, int last)
{
    return QStringLiteral("%1, %2 to %3").arg(what).arg(first).arg(last);
}
}

PageArguments::~PageArguments()
{
    // None calls it if it is C++ that does.
    if (QJSEngine *const engine = areRight() ? nullptr : qjsEngine(m_object))
        engine->throwError(m_type, QStringLiteral("%1: %2").arg(QLatin1String(m_command), m_problem));
}

int PageArguments::number(const char *what, const QJSValue &value, int first, int last)
{
    if (isWhole(value) && value.toNumber() >= first && value.toNumber() <= last)
        return value.toInt();
    refuse(value, range(QLatin1String(what), first, last));
    return first;
}

int PageArguments::percent(const QJSValue &value)
{
    if (value.isNumber() && value.toNumber() >= 0 && value.toNumber() <= WholeWay)
        return qRound(value.toNumber());
    refuse(value, range(QStringLiteral("percentage"), 0, WholeWay));
    return 0;
}

QString PageArguments::text(const char *what, const QJSValue &value)
{
    if (!value.isString())
        refuse(value, QLatin1String(what));
    return value.toString();
}

VOX::Addr PageArguments::node(const QJSValue &value)
{
    const VOX::Addr addr = group(value);
    if (areRight())
        check(VOX::nodeAddrProblem(addr));
    return addr;
}

VOX::Addr PageArguments::group(const QJSValue &value)
{
    VOX::Addr addr = 0;
    if (isWhole(value) && value.toNumber() >= 0 && value.toNumber() <= VOX::AddrMask)
        return value.toUInt();
    if (!value.isString() || !VOX::readAddr(value.toString(), &addr))
        refuse(value, QStringLiteral("address: a number of 24 bits, or a text of six hexadecimal digits"));
    return addr;
}

QVector<VOX::Addr> PageArguments::nodes(const QJSValue &values)
{
    QVector<VOX::Addr> addrs;
    if (!values.isArray())
        refuse(values, QStringLiteral("list of addresses"));
    const int count = values.property(QStringLiteral("length")).toInt();
    for (int i = 0; areRight() && i < count; ++i)
        addrs += node(values.property(static_cast<quint32>(i)));
    return addrs;
}

int PageArguments::name(const QMetaEnum &names, const QJSValue &value)
{
    if (isWhole(value) && names.valueToKey(value.toInt()))
        return value.toInt();
    QStringList keys;
    for (int i = 0; i < names.keyCount(); ++i)
        keys += QLatin1String(names.key(i));
    refuse(
        value,
        QStringLiteral("%1.%2: %3")
            .arg(QLatin1String(names.scope()), QLatin1String(names.name()), keys.join(QStringLiteral(", "))));
    return 0;
}

void PageArguments::check(const QString &problem)
{
    if (areRight())
        m_problem = problem;
}

void PageArguments::refuse(const QJSValue &value, const QString &expected)
{
    if (!areRight())
        return;
    m_problem = QStringLiteral("%1 is no %2").arg(value.toString(), expected);
    if (!value.isNumber())
        m_type = QJSValue::TypeError;
    if (value.isUndefined())
        m_problem += QStringLiteral(" (undefined is also what a name that does not exist stands for)");
}
