#include "vox/words.h"

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
    const QString word = nearest(text, words);
    return word.isEmpty() ? QString() : QStringLiteral("; did you mean '%1'?").arg(word);
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
