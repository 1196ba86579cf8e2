#include "panel/backdrop.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDateTime>
#include <QFileInfo>
#include <QImageReader>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>

namespace {
constexpr int MostPixelsAWay = 4096;
constexpr qint64 MostPixels = 64000000;
constexpr qint64 MostBytes = qint64{32} * 1024 * 1024;

QString words(const char *text)
{
    return QCoreApplication::translate("Backdrop", text);
}

/// Without links to anything but parts of the drawing, and what is inside of it.
QXmlStreamAttributes withoutLinks(QXmlStreamAttributes attributes)
{
    const auto isLink = [](const QXmlStreamAttribute &attribute) {
        const QString name = attribute.qualifiedName().toString();
        const QString value = attribute.value().toString();
        return (name == QLatin1String("href") || name.endsWith(QLatin1String(":href")))
            && !value.startsWith(QLatin1Char('#')) && !value.startsWith(QLatin1String("data:"));
    };
    attributes.erase(std::remove_if(attributes.begin(), attributes.end(), isLink), attributes.end());
    return attributes;
}

/// A drawing without what it would load.
QByteArray withoutLinks(const QByteArray &svg)
{
    QByteArray copy;
    QXmlStreamReader reader(svg);
    QXmlStreamWriter writer(&copy);
    reader.setNamespaceProcessing(false);
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            const QXmlStreamAttributes kept = withoutLinks(reader.attributes());
            const QString name = reader.qualifiedName().toString();
            // Of a picture that is elsewhere, nothing is left.
            if (kept.size() < reader.attributes().size() && name.endsWith(QLatin1String("image"))) {
                reader.skipCurrentElement();
                continue;
            }
            writer.writeStartElement(name);
            writer.writeAttributes(kept);
        } else if (reader.isEndElement()) {
            writer.writeEndElement();
        } else if (reader.isCharacters()) {
            writer.writeCharacters(reader.text().toString());
        }
    }
    return reader.hasError() ? QByteArray() : copy;
}

/// A file, opened for reading as a picture.
class Picture
{
public:
    Picture(const QString &fileName, QString *problem)
        : m_file(fileName)
    {
        if (!QFileInfo(fileName).isFile() || !m_file.open(QIODevice::ReadOnly))
            *problem = words("%1 cannot be read: choose a PNG, JPEG or SVG file.").arg(fileName);
        else if (m_file.size() > MostBytes)
            *problem = words("%1 is larger than 32 MiB; save it smaller.").arg(fileName);
        else if (!open())
            *problem =
                words("%1 is no picture that can be shown: choose a PNG, JPEG or SVG file.").arg(fileName);
        else if (qint64(m_reader.size().width()) * m_reader.size().height() > MostPixels)
            *problem = words("%1 has more than 64 million pixels; save it smaller.").arg(fileName);
        else
            m_size = m_reader.size();
    }

    /// Empty if it cannot be shown.
    QSize size() const { return m_size; }
    QImage read(int width)
    {
        const QSize most(std::min(width, MostPixelsAWay), MostPixelsAWay);
        QSize size = m_size;
        // A drawing is sharp at any size.
        if (m_isDrawing || size.width() > most.width() || size.height() > most.height())
            size.scale(most, Qt::KeepAspectRatio);
        m_reader.setScaledSize(size);
        return m_reader.read();
    }

private:
    bool open()
    {
        const QByteArray format = QImageReader::imageFormat(&m_file);
        m_isDrawing = format == "svg";
        if (m_isDrawing) {
            m_drawing.setData(withoutLinks(m_file.readAll()));
            m_drawing.open(QIODevice::ReadOnly);
            m_reader.setDevice(&m_drawing);
        } else {
            m_reader.setDevice(&m_file);
        }
        m_reader.setFormat(format);
        return (m_isDrawing || format == "png" || format == "jpeg") && m_reader.canRead()
            && !m_reader.size().isEmpty();
    }

    QFile m_file;
    QBuffer m_drawing;
    QImageReader m_reader;
    QSize m_size;
    bool m_isDrawing = false;
};
}

QSize Backdrop::sizeOf(const QString &fileName, QString *problem)
{
    return Picture(fileName, problem).size();
}

QImage Backdrop::read(const QString &fileName, int width)
{
    QString problem;
    Picture picture(fileName, &problem);
    return picture.size().isEmpty() ? QImage() : picture.read(width);
}

QUrl Backdrop::urlOf(const QString &fileName)
{
    return QUrl(QStringLiteral("image://backdrop/%1/%2")
                    .arg(QString::fromLatin1(fileName.toUtf8().toHex()))
                    .arg(QFileInfo(fileName).lastModified().toMSecsSinceEpoch()));
}

BackdropProvider::BackdropProvider()
    : QQuickImageProvider(QQuickImageProvider::Image, QQuickImageProvider::ForceAsynchronousImageLoading)
{
}

QImage BackdropProvider::requestImage(const QString &id, QSize *size, const QSize &requestedSize)
{
    const QByteArray name = QByteArray::fromHex(id.section(QLatin1Char('/'), 0, 0).toLatin1());
    QImage image = Backdrop::read(QString::fromUtf8(name), std::max(1, requestedSize.width()));
    *size = image.size();
    return image;
}
