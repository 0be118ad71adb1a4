#include "support/PropertyList.h"

#include <QDateTime>
#include <QVariantList>
#include <QVariantMap>
#include <QXmlStreamReader>

namespace velmora {

namespace {

// Nesting deeper than this is refused, so a hostile file cannot exhaust the stack.
constexpr int maxDepth = 64;

QVariant readValue(QXmlStreamReader &xml, int depth);

QVariant readDict(QXmlStreamReader &xml, int depth)
{
    QVariantMap map;
    while (xml.readNextStartElement()) {
        if (xml.name() != u"key")
            return {};
        const QString key = xml.readElementText();
        if (xml.hasError() || !xml.readNextStartElement())
            return {};
        const QVariant value = readValue(xml, depth + 1);
        if (!value.isValid())
            return {};
        map.insert(key, value);
    }
    return xml.hasError() ? QVariant() : QVariant(map);
}

QVariant readArray(QXmlStreamReader &xml, int depth)
{
    QVariantList list;
    while (xml.readNextStartElement()) {
        const QVariant value = readValue(xml, depth + 1);
        if (!value.isValid())
            return {};
        list.append(value);
    }
    return xml.hasError() ? QVariant() : QVariant(list);
}

// Called with the reader on a start element; leaves it on the matching end element.
QVariant readValue(QXmlStreamReader &xml, int depth)
{
    if (depth > maxDepth)
        return {};
    const auto name = xml.name();
    if (name == u"dict")
        return readDict(xml, depth);
    if (name == u"array")
        return readArray(xml, depth);
    if (name == u"true" || name == u"false") {
        const bool value = name == u"true";
        xml.skipCurrentElement();
        return value;
    }
    const QString text = xml.readElementText();
    if (xml.hasError())
        return {};
    if (name == u"string")
        return text;
    if (name == u"integer") {
        bool ok = false;
        const qlonglong value = text.trimmed().toLongLong(&ok);
        return ok ? QVariant(value) : QVariant();
    }
    if (name == u"real") {
        bool ok = false;
        const double value = text.trimmed().toDouble(&ok);
        return ok ? QVariant(value) : QVariant();
    }
    if (name == u"date") {
        const QDateTime value = QDateTime::fromString(text.trimmed(), Qt::ISODate);
        return value.isValid() ? QVariant(value) : QVariant();
    }
    if (name == u"data")
        return QByteArray::fromBase64(text.toLatin1());
    return {};
}

} // namespace

QVariant PropertyList::parse(const QByteArray &data)
{
    QXmlStreamReader xml(data);
    if (!xml.readNextStartElement() || xml.name() != u"plist")
        return {};
    if (!xml.readNextStartElement())
        return {};
    QVariant root = readValue(xml, 0);
    if (!root.isValid() || xml.hasError())
        return {};
    return root;
}

} // namespace velmora
