#include "vox/host/operation.h"

#include "proxies/hrmv2motorproxy.h"
#include "proxies/kvrmotorproxy.h"
#include "transport/voxbus.h"
#include "vox/console.h"
#include "vox/line/lineitem.h"
#include "vox/words.h"

#include <QBuffer>
#include <QMetaEnum>

#include <limits>

namespace {
const QString HexPrefix = QStringLiteral("hex:");
const QString OlderPrefix = QStringLiteral("hrmv2:");

void addOperations(const QMetaObject &meta, QVector<QMetaMethod> *found)
{
    for (int i = VOXNode::staticMetaObject.methodCount(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (qstrcmp(method.typeName(), "BusPendingCall") == 0)
            found->append(method);
    }
}

QVector<QMetaMethod> operations()
{
    // Some of these are types of parameters.
    VOX::registerMetaTypes();
    QVector<QMetaMethod> found;
    addOperations(KVRMotorProxy::staticMetaObject, &found);
    addOperations(HRMv2MotorProxy::staticMetaObject, &found);
    return found;
}

bool isOlder(const QMetaMethod &method)
{
    return method.enclosingMetaObject() == &HRMv2MotorProxy::staticMetaObject;
}

QString nameOf(const QMetaMethod &method)
{
    const QString name = QString::fromLatin1(method.name());
    return isOlder(method) ? OlderPrefix + name : name;
}

QMetaEnum enumerationOf(const QMetaMethod &method, int index)
{
    const QByteArray type = method.parameterTypes().at(index);
    const QByteArray name = type.mid(type.lastIndexOf(':') + 1);
    const QMetaObject &meta = isOlder(method) ? HRMv2::staticMetaObject : KVRMotor::staticMetaObject;
    return meta.enumerator(meta.indexOfEnumerator(name.constData()));
}

/// Decimal, or hexadecimal with 0x. A leading 0 alone has no meaning.
uint toNumber(const QString &text, bool *isNumber)
{
    constexpr int Decimal = 10;
    constexpr int Hexadecimal = 16;
    return text.toUInt(isNumber,
                       text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? Hexadecimal : Decimal);
}

template <typename T>
bool readNumber(const QString &text, QVariant *value, QString *expected)
{
    constexpr uint Max = std::numeric_limits<T>::max();
    bool isNumber = false;
    const uint number = toNumber(text, &isNumber);
    *value = QVariant::fromValue(static_cast<T>(number));
    *expected = QStringLiteral("a number from 0 to %1").arg(Max);
    return isNumber && number <= Max;
}

bool readFlag(const QString &text, QVariant *value, QString *expected)
{
    static const QStringList on = {QStringLiteral("1"), QStringLiteral("true"), QStringLiteral("on")};
    static const QStringList off = {QStringLiteral("0"), QStringLiteral("false"), QStringLiteral("off")};
    *value = on.contains(text);
    *expected = QStringLiteral("true or false");
    return on.contains(text) || off.contains(text);
}

bool readAddr(const QString &text, QVariant *value, QString *expected)
{
    bool isNumber = false;
    const uint addr = text.toUInt(&isNumber, 16);
    *value = addr;
    *expected = QStringLiteral("an address of up to six hexadecimal digits");
    return isNumber && addr <= VOX::AddrMask;
}

bool readBytes(const QString &text, int most, QVariant *value, QString *expected)
{
    const QByteArray digits = text.mid(HexPrefix.size()).toLatin1().toLower();
    const bool isHex = text.startsWith(HexPrefix);
    const QByteArray bytes = isHex ? QByteArray::fromHex(digits) : text.toLatin1();
    *value = bytes;
    *expected = QStringLiteral("text of up to %1 characters of Latin-1, or %2 and as many pairs of "
                               "hexadecimal digits")
                    .arg(most)
                    .arg(HexPrefix);
    return bytes.size() <= most && (isHex ? bytes.toHex() == digits : QString::fromLatin1(bytes) == text);
}

bool readKey(const QMetaEnum &keys, const QString &text, QVariant *value, QString *expected)
{
    bool isKnown = false;
    uint number = toNumber(text, &isKnown);
    QStringList names;
    for (int i = 0; i < keys.keyCount(); ++i) {
        names += QString::fromLatin1(keys.key(i));
        if (names.constLast().compare(text, Qt::CaseInsensitive) != 0)
            continue;
        number = static_cast<uint>(keys.value(i));
        isKnown = true;
    }
    *value = static_cast<int>(number);
    *expected = QStringLiteral("a number from 0 to 255 or one of %1%2")
                    .arg(names.join(QLatin1String(", ")), didYouMean(text, names));
    return isKnown && number <= std::numeric_limits<quint8>::max();
}

/// The command that @p method sends: ctrlMoveTo sends CTRL_MOVETO.
unsigned char commandOf(const QMetaMethod &method)
{
    const QString name = QString::fromLatin1(method.name()).toUpper();
    unsigned char cmd = 0;
    while (cmd < 0xff && VOX::toString(cmd).remove(QLatin1Char('_')) != name)
        ++cmd;
    return cmd;
}

/// What may be meant by @p name, which is no operation: one that is written alike, or the one that sends the
/// command with this id or name. Else all of them.
QString hintFor(const QString &name)
{
    const QStringList names = Operation::names();
    QString meant = nearest(name, names);
    const QString command = meant.isEmpty() ? commandNear(name) : QString();
    for (const QString &operation : names) {
        if (!command.isEmpty()
            && operation.compare(QString(command).remove(QLatin1Char('_')), Qt::CaseInsensitive) == 0)
            meant = operation;
    }
    return meant.isEmpty() ? QStringLiteral("; one of %1").arg(names.join(QLatin1String(", ")))
                           : QStringLiteral("; did you mean '%1'?").arg(meant);
}

bool readArgument(const QMetaMethod &method, int index, const QString &text, QVariant *value,
                  QString *expected)
{
    switch (method.parameterType(index)) {
    case QMetaType::UChar:
        return readNumber<quint8>(text, value, expected);
    case QMetaType::UShort:
        return readNumber<quint16>(text, value, expected);
    case QMetaType::Bool:
        return readFlag(text, value, expected);
    case QMetaType::UInt:
        return readAddr(text, value, expected);
    case QMetaType::QByteArray:
        return readBytes(text, VOXField::of(commandOf(method)).at(index).width, value, expected);
    default:
        return readKey(enumerationOf(method, index), text, value, expected);
    }
}
}

QStringList Operation::names()
{
    QStringList found;
    const QVector<QMetaMethod> methods = operations();
    for (const QMetaMethod &method : methods)
        found += nameOf(method);
    found.removeDuplicates();
    return found;
}

QStringList Operation::keys(const QString &name, int index)
{
    QStringList found;
    const QVector<QMetaMethod> methods = operations();
    for (const QMetaMethod &method : methods) {
        if (nameOf(method) != name || index < 0 || index >= method.parameterCount())
            continue;
        const QMetaEnum keys = enumerationOf(method, index);
        for (int i = 0; i < keys.keyCount(); ++i)
            found += QString::fromLatin1(keys.key(i));
        break;
    }
    return found;
}

bool Operation::find(const QString &name, int argumentCount, Operation *operation, QString *problem)
{
    QStringList forms;
    const QVector<QMetaMethod> methods = operations();
    for (const QMetaMethod &method : methods) {
        if (nameOf(method) != name)
            continue;
        operation->m_method = method;
        if (method.parameterCount() == argumentCount)
            return true;
        forms += operation->usage();
    }
    *problem = forms.isEmpty()
        ? QStringLiteral("unknown operation '%1'%2").arg(name, hintFor(name))
        : QStringLiteral("%1 given; what it takes is: %2; 'vox call %3 --help' tells more")
              .arg(counted(argumentCount, "argument"), forms.join(QLatin1String(" or ")), name);
    return false;
}

QString Operation::help(const QString &name)
{
    // The form with all arguments comes first.
    Operation whole;
    QVector<Operation> shorter;
    const QVector<QMetaMethod> methods = operations();
    for (const QMetaMethod &method : methods) {
        if (nameOf(method) != name)
            continue;
        Operation form;
        form.m_method = method;
        if (whole.m_method.isValid())
            shorter += form;
        else
            whole = form;
    }
    const int least = whole.m_method.parameterCount() - shorter.size();
    const QVector<VOXField::Value> defaults = shorter.isEmpty()
        ? QVector<VOXField::Value>()
        : VOXField::valuesOf(shorter.last().sample(), whole.meaning());
    QString text = QStringLiteral("Usage: vox call [options] ADDRESS %1").arg(whole.usage());
    for (int i = 0; i < whole.m_method.parameterCount(); ++i) {
        QVariant value;
        QString expected;
        readArgument(whole.m_method, i, QString(), &value, &expected);
        text += QStringLiteral("\n  %1: %2")
                    .arg(QString::fromLatin1(whole.m_method.parameterNames().at(i)).toUpper(), expected);
        if (i >= least)
            text += QStringLiteral("; %1 without it").arg(defaults.value(i).value.toString());
    }
    if (whole.m_method.parameterCount() == 0)
        text += QStringLiteral("\nIt takes no arguments.");
    if (least == 0 && !shorter.isEmpty())
        text += QStringLiteral("\nWithout any of them it acts only with --defaults.");
    return text;
}

bool Operation::isAllDefaults() const
{
    return m_method.parameterCount() == 0 && (m_method.attributes() & QMetaMethod::Cloned) != 0;
}

QString Operation::usage() const
{
    QStringList words = {nameOf(m_method)};
    const QList<QByteArray> parameters = m_method.parameterNames();
    for (const QByteArray &parameter : parameters)
        words += QString::fromLatin1(parameter).toUpper();
    return words.join(QLatin1Char(' '));
}

bool Operation::isQuery() const
{
    return m_method.name().startsWith("get");
}

VOXCommandTrait Operation::trait() const
{
    return VOXCommandTrait::of(sample());
}

VOXField::Meaning Operation::meaning() const
{
    return isOlder(m_method) ? VOXField::InHRMv2 : VOXField::InKVR;
}

bool Operation::setArguments(const QStringList &arguments, QString *problem)
{
    m_arguments.clear();
    for (int i = 0; i < arguments.size(); ++i) {
        QVariant value;
        QString expected;
        if (!readArgument(m_method, i, arguments.at(i), &value, &expected)) {
            *problem =
                QStringLiteral("%1: '%2' is not %3")
                    .arg(QString::fromLatin1(m_method.parameterNames().at(i)), arguments.at(i), expected);
            return false;
        }
        m_arguments.append(value);
    }
    return true;
}

/// The message that the operation sends with zeros as arguments.
VOXMessage Operation::sample() const
{
    Operation filled = *this;
    filled.m_arguments.clear();
    for (int i = 0; i < m_method.parameterCount(); ++i)
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        filled.m_arguments += QVariant(m_method.parameterMetaType(i));
#else
        filled.m_arguments += QVariant(m_method.parameterType(i), nullptr);
#endif
    auto *line = new QBuffer;
    VOXBus bus(line);
    bus.open();
    filled.call(1, &bus);
    return LineItem::of(line->data(), 0).frame;
}

BusPendingCall Operation::call(unsigned int addr, Bus *bus) const
{
    KVRMotorProxy current(addr, bus);
    HRMv2MotorProxy older(addr, bus);
    QObject *proxy = isOlder(m_method) ? static_cast<QObject *>(&older) : &current;
    constexpr int MaxArguments = 6;
    QGenericArgument arguments[MaxArguments];
    const QList<QByteArray> types = m_method.parameterTypes();
    for (int i = 0; i < m_arguments.size(); ++i)
        arguments[i] = QGenericArgument(types.at(i).constData(), m_arguments.at(i).constData());
    BusPendingCall call;
    m_method.invoke(proxy, Qt::DirectConnection, Q_RETURN_ARG(BusPendingCall, call), arguments[0],
                    arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
    return call;
}
