#include "simulation/jsonplace_p.h"

#include "messages/vox.h"

#include <QJsonArray>
#include <QJsonObject>

#include <cmath>

JsonPlace::JsonPlace(const QJsonValue &value, const QString &path, QString *problem)
    : m_value(value)
    , m_path(path)
    , m_problem(problem)
{
}

void JsonPlace::fail(const QString &mistake) const
{
    if (m_problem->isEmpty())
        *m_problem = m_path.isEmpty() ? mistake : QStringLiteral("%1: %2").arg(m_path, mistake);
}

JsonPlace JsonPlace::operator[](const QString &key) const
{
    const QString path = m_path.isEmpty() ? key : QStringLiteral("%1.%2").arg(m_path, key);
    return JsonPlace(m_value.toObject().value(key), path, m_problem);
}

JsonPlace JsonPlace::at(int index) const
{
    return JsonPlace(m_value.toArray().at(index), QStringLiteral("%1[%2]").arg(m_path).arg(index), m_problem);
}

int JsonPlace::size(int most) const
{
    if (!m_value.isArray()) {
        fail(QStringLiteral("is to be an array"));
        return 0;
    }
    const int count = m_value.toArray().size();
    if (count <= most)
        return count;
    fail(QStringLiteral("has %1 elements, and %2 is the most").arg(count).arg(most));
    return 0;
}

QStringList JsonPlace::keys() const
{
    if (!m_value.isObject())
        fail(QStringLiteral("is to be an object"));
    return m_value.toObject().keys();
}

bool JsonPlace::isObjectOf(const QStringList &keys) const
{
    const QStringList present = this->keys();
    if (!m_value.isObject())
        return false;
    for (const QString &key : present) {
        if (keys.contains(key))
            continue;
        (*this)[key].fail(QStringLiteral("unknown; one of %1").arg(keys.join(QStringLiteral(", "))));
        return false;
    }
    return true;
}

int JsonPlace::number(int least, int most) const
{
    const double value = m_value.toDouble(std::nan(""));
    if (value >= least && value <= most && value == std::floor(value))
        return static_cast<int>(value);
    fail(QStringLiteral("is to be a whole number from %1 to %2").arg(least).arg(most));
    return least;
}

bool JsonPlace::flag() const
{
    if (!m_value.isBool())
        fail(QStringLiteral("is to be true or false"));
    return m_value.toBool();
}

QString JsonPlace::text() const
{
    if (!m_value.isString())
        fail(QStringLiteral("is to be a text"));
    return m_value.toString();
}

QByteArray JsonPlace::latin1(int most) const
{
    const QString characters = text();
    QByteArray bytes = characters.toLatin1();
    if (QString::fromLatin1(bytes) != characters)
        fail(QStringLiteral("has a character that is not of Latin-1"));
    else if (bytes.size() > most)
        fail(QStringLiteral("has %1 characters, and %2 is the most").arg(bytes.size()).arg(most));
    return bytes;
}

unsigned int JsonPlace::address() const
{
    unsigned int addr = 0;
    if (!VOX::readAddr(m_value.toString(), &addr))
        fail(QStringLiteral("is to be an address of six hexadecimal digits, in quotes"));
    return addr;
}

int JsonPlace::keyOf(const QMetaEnum &keys) const
{
    bool isKey = false;
    const int value = keys.keyToValue(m_value.toString().toLatin1(), &isKey);
    if (isKey)
        return value;
    QStringList names;
    for (int i = 0; i < keys.keyCount(); ++i)
        names += QString::fromLatin1(keys.key(i));
    fail(QStringLiteral("is to be one of %1").arg(names.join(QStringLiteral(", "))));
    return 0;
}
