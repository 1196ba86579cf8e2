#include "panel/places.h"

#include "panel/backdrop.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>
#include <QStandardPaths>

namespace {
const QString PictureKey = QStringLiteral("picture");
const QString PlacesKey = QStringLiteral("places");
const QString CheckedKey = QStringLiteral("checked");
}

QString Places::fileNameFor(const QString &config)
{
    const QFileInfo file(config);
    const QString name = (config.isEmpty() ? QStringLiteral("panel") : file.completeBaseName())
        + QStringLiteral(".places.json");
    if (!config.isEmpty() && QFileInfo(file.path()).isWritable())
        return file.dir().filePath(name);
    return QDir(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)).filePath(name);
}

QString Places::keyOf(const PanelLine &line, VOX::Addr addr)
{
    return line.name() + QLatin1Char('/') + VOX::toString(addr);
}

void Places::open(const QString &fileName)
{
    m_fileName = fileName;
    m_pictureName.clear();
    m_problem.clear();
    m_places.clear();
    m_checked.clear();
    m_undo.clear();
    QFile file(fileName);
    if (file.exists() && !file.open(QIODevice::ReadOnly))
        m_problem = tr("%1 cannot be read: %2.").arg(fileName, file.errorString());
    const QByteArray text = file.isOpen() ? file.readAll() : QByteArray();
    QJsonParseError error{};
    const QJsonObject object = QJsonDocument::fromJson(text, &error).object();
    if (!text.isEmpty() && error.error != QJsonParseError::NoError)
        m_problem = tr("%1 is no file of places: %2. It is replaced when a shade is placed.")
                        .arg(fileName, error.errorString());
    m_pictureName = object.value(PictureKey).toString();
    readPicture();
    const QJsonObject places = object.value(PlacesKey).toObject();
    for (auto place = places.begin(); place != places.end(); ++place) {
        const QJsonArray point = place.value().toArray();
        m_places.insert(
            place.key(),
            QPointF(qBound(0.0, point.at(0).toDouble(), 1.0), qBound(0.0, point.at(1).toDouble(), 1.0)));
    }
    const QJsonArray checked = object.value(CheckedKey).toArray();
    for (const QJsonValue &key : checked)
        m_checked += key.toString();
    Q_EMIT changed();
}

void Places::save()
{
    QJsonObject places;
    for (auto place = m_places.cbegin(); place != m_places.cend(); ++place)
        places.insert(place.key(), QJsonArray{place->x(), place->y()});
    QStringList checked(m_checked.cbegin(), m_checked.cend());
    checked.sort();
    const QJsonObject object{
        {PictureKey, m_pictureName}, {PlacesKey, places}, {CheckedKey, QJsonArray::fromStringList(checked)}};
    QDir().mkpath(QFileInfo(m_fileName).path());
    QSaveFile file(m_fileName);
    m_problem.clear();
    if (!m_fileName.isEmpty()
        && (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(object).toJson()) < 0
            || !file.commit()))
        m_problem = tr("Places cannot be kept in %1: %2. Choose another file with --places.")
                        .arg(m_fileName, file.errorString());
    Q_EMIT changed();
}

QUrl Places::picture() const
{
    return m_pictureSize.isEmpty() ? QUrl() : Backdrop::urlOf(pictureFile());
}

QString Places::pictureFile() const
{
    return QFileInfo(QFileInfo(m_fileName).dir(), m_pictureName).absoluteFilePath();
}

void Places::readPicture()
{
    m_pictureSize = m_pictureName.isEmpty() ? QSize() : Backdrop::sizeOf(pictureFile(), &m_problem);
}

void Places::setPictureName(const QString &name)
{
    QString file = name.trimmed();
    if (file.startsWith(QLatin1String("~/")))
        file.replace(0, 1, QDir::homePath());
    if (!file.isEmpty())
        file = QFileInfo(file).absoluteFilePath();
    QString problem;
    if (!file.isEmpty() && Backdrop::sizeOf(file, &problem).isEmpty()) {
        // What is shown stays.
        m_problem = problem;
        Q_EMIT changed();
        return;
    }
    m_pictureName = file;
    m_problem.clear();
    readPicture();
    save();
}

std::optional<QPointF> Places::place(const QString &key) const
{
    const auto place = m_places.constFind(key);
    return place == m_places.cend() ? std::nullopt : std::optional<QPointF>(*place);
}

void Places::setPlace(const QString &key, const QPointF &place)
{
    m_undo.push_back({key, this->place(key)});
    m_places[key] = place;
    save();
}

void Places::undo()
{
    if (m_undo.empty())
        return;
    const Step step = m_undo.back();
    m_undo.pop_back();
    if (step.before)
        m_places[step.key] = *step.before;
    else
        m_places.remove(step.key);
    save();
}

void Places::setChecked(const QString &key, bool isChecked)
{
    if (isChecked)
        m_checked += key;
    else
        m_checked.remove(key);
    save();
}
