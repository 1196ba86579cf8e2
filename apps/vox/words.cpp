#include "vox/words.h"

#include "vox/line/lineitem.h"

#include <QRegularExpression>
#include <QVector>

#include <algorithm>

namespace {
constexpr int MsPerSecond = 1000;
constexpr int MaxMs = 3600 * MsPerSecond;

/// How many letters have to be put in, left out, changed or swapped with the next to make @p b of @p a.
int distance(const QString &a, const QString &b)
{
    QVector<int> older;
    QVector<int> last(b.size() + 1);
    for (int j = 0; j <= b.size(); ++j)
        last[j] = j;
    for (int i = 1; i <= a.size(); ++i) {
        QVector<int> row(b.size() + 1, i);
        for (int j = 1; j <= b.size(); ++j) {
            const int change = a.at(i - 1) == b.at(j - 1) ? 0 : 1;
            row[j] = std::min({last.at(j) + 1, row.at(j - 1) + 1, last.at(j - 1) + change});
            const bool isSwapped = i > 1 && j > 1 && a.at(i - 1) == b.at(j - 2) && a.at(i - 2) == b.at(j - 1);
            if (isSwapped)
                row[j] = std::min(row.at(j), older.at(j - 2) + 1);
        }
        older = last;
        last = row;
    }
    return last.constLast();
}
}

QString nearest(const QString &text, const QStringList &words)
{
    // "percent" for MOVETO_PERCENT, "mon" for monitor.
    constexpr int LeastPart = 3;
    const auto isPart = [&](const QString &word) {
        return text.size() >= LeastPart
            && (word.startsWith(text, Qt::CaseInsensitive)
                || word.endsWith(QLatin1Char('_') + text, Qt::CaseInsensitive));
    };
    if (std::count_if(words.cbegin(), words.cend(), isPart) == 1)
        return *std::find_if(words.cbegin(), words.cend(), isPart);
    // One slip in a short word, two or three in a long one; more would be guessing.
    constexpr int LettersPerSlip = 4;
    const QString asked = text.toLower();
    int least = std::clamp(static_cast<int>(asked.size()) / LettersPerSlip, 1, 3) + 1;
    QString found;
    for (const QString &word : words) {
        const int slips = distance(asked, word.toLower());
        // One letter alone is near to every other.
        if (slips < least && slips < word.size()) {
            least = slips;
            found = word;
        }
    }
    return found;
}

QString didYouMean(const QString &text, const QStringList &words)
{
    return didYouMean(nearest(text, words));
}

QString didYouMean(const QString &word)
{
    return word.isEmpty() ? QString() : QStringLiteral("; did you mean '%1'?").arg(word);
}

QString commandNear(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("^(?:0[xX])?([0-9A-Fa-f]{1,2})[hH]?$"));
    const QRegularExpressionMatch match = form.match(text);
    if (match.hasMatch())
        return nameOf(static_cast<unsigned char>(match.captured(1).toUInt(nullptr, 16)));
    QStringList names;
    for (int cmd = 0; cmd <= 0xff; ++cmd) {
        for (const VOXField::Meaning meaning : {VOXField::InKVR, VOXField::InHRMv2})
            names += nameOf(static_cast<unsigned char>(cmd), meaning);
    }
    names.removeDuplicates();
    names.removeAll(QString());
    return nearest(text, names);
}

QString wrapped(const QString &text)
{
    constexpr int Width = 80;
    QStringList lines;
    const QStringList given = text.split(QLatin1Char('\n'));
    for (QString line : given) {
        const auto indent = static_cast<int>(
            line.size() - QString(line).remove(QRegularExpression(QStringLiteral("^ +"))).size());
        while (line.size() > Width) {
            const auto end = static_cast<int>(line.lastIndexOf(QLatin1Char(' '), Width));
            if (end <= indent)
                break;
            lines += line.left(end);
            line = QString(indent > 0 ? indent + 2 : 0, QLatin1Char(' ')) + line.mid(end + 1);
        }
        lines += line;
    }
    return lines.join(QLatin1Char('\n'));
}

bool readDuration(const QString &text, int *ms)
{
    static const QRegularExpression form(QStringLiteral("^(\\d{1,7}(?:\\.\\d{1,6})?)(ms|s)$"));
    const QRegularExpressionMatch match = form.match(text);
    const double number =
        match.captured(1).toDouble() * (match.captured(2) == QLatin1String("s") ? MsPerSecond : 1);
    *ms = match.hasMatch() && number <= MaxMs ? qRound(number) : 0;
    return match.hasMatch() && number <= MaxMs;
}
