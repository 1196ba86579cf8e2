#include "vox/test/junitfile.h"

#include <QDateTime>
#include <QFileInfo>
#include <QXmlStreamWriter>

#include <algorithm>
#include <numeric>

namespace {
QString number(double seconds)
{
    return QString::number(seconds, 'f', 3);
}

/// @p text with a question mark for each character that XML cannot have.
QString writable(QString text)
{
    for (QChar &character : text) {
        const bool isSpace = character == QLatin1Char('\t') || character == QLatin1Char('\n')
            || character == QLatin1Char('\r');
        if ((character < QLatin1Char(' ') && !isSpace) || character.isNonCharacter())
            character = QLatin1Char('?');
    }
    return text;
}

void writeCase(QXmlStreamWriter &xml, const ScenarioResult &result)
{
    const QFileInfo file(result.fileName);
    xml.writeStartElement(QStringLiteral("testcase"));
    xml.writeAttribute(QStringLiteral("classname"), writable(file.path()));
    xml.writeAttribute(QStringLiteral("name"), writable(file.completeBaseName()));
    xml.writeAttribute(QStringLiteral("time"), number(result.seconds));
    if (!result.isMet()) {
        xml.writeStartElement(QStringLiteral("failure"));
        xml.writeAttribute(QStringLiteral("message"),
                           writable(result.failure.section(QLatin1Char('\n'), 0, 0)));
        xml.writeCharacters(writable(result.failure));
        xml.writeEndElement();
    }
    xml.writeTextElement(QStringLiteral("system-out"), writable(QString::fromLocal8Bit(result.output)));
    xml.writeEndElement();
}
}

JUnitFile::JUnitFile(const QString &name)
    : m_file(name)
{
}

bool JUnitFile::open(QString *problem)
{
    if (m_file.open(QIODevice::WriteOnly))
        return true;
    *problem = QStringLiteral("cannot write %1: %2").arg(m_file.fileName(), m_file.errorString());
    return false;
}

bool JUnitFile::write(const std::vector<ScenarioResult> &results, QString *problem)
{
    const auto failures = std::count_if(results.begin(), results.end(),
                                        [](const ScenarioResult &result) { return !result.isMet(); });
    const double seconds =
        std::accumulate(results.begin(), results.end(), 0.0,
                        [](double sum, const ScenarioResult &result) { return sum + result.seconds; });
    QXmlStreamWriter xml(&m_file);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("testsuites"));
    xml.writeStartElement(QStringLiteral("testsuite"));
    const std::pair<QString, QString> attributes[] = {
        {QStringLiteral("name"), QStringLiteral("vox test")},
        {QStringLiteral("tests"), QString::number(results.size())},
        {QStringLiteral("failures"), QString::number(failures)},
        {QStringLiteral("errors"), QStringLiteral("0")},
        {QStringLiteral("skipped"), QStringLiteral("0")},
        {QStringLiteral("time"), number(seconds)},
        {QStringLiteral("timestamp"), QDateTime::currentDateTimeUtc().toString(Qt::ISODate)}};
    for (const auto &[name, value] : attributes)
        xml.writeAttribute(name, value);
    for (const ScenarioResult &result : results)
        writeCase(xml, result);
    xml.writeEndDocument();
    if (!xml.hasError() && m_file.commit())
        return true;
    *problem = QStringLiteral("cannot write %1: %2").arg(m_file.fileName(), m_file.errorString());
    return false;
}
