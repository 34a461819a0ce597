#include "PlistTree.h"

#include <plist/plist.h>

#include <cstdlib>
#include <memory>

namespace {

std::optional<QVariant> convert(plist_t node)
{
    switch (plist_get_node_type(node)) {
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(node, &iter);
        for (;;) {
            char *key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, iter, &key, &value);
            if (!value) {
                std::free(key);
                break;
            }
            const QString name = QString::fromUtf8(key);
            std::free(key);
            auto converted = convert(value);
            if (!converted) {
                std::free(iter);
                return std::nullopt;
            }
            map.insert(name, *converted);
        }
        std::free(iter);
        return map;
    }
    case PLIST_ARRAY: {
        QVariantList list;
        for (uint32_t i = 0; i < plist_array_get_size(node); ++i) {
            auto converted = convert(plist_array_get_item(node, i));
            if (!converted) {
                return std::nullopt;
            }
            list << *converted;
        }
        return list;
    }
    case PLIST_STRING: {
        char *text = nullptr;
        plist_get_string_val(node, &text);
        const QString value = QString::fromUtf8(text);
        std::free(text);
        return value;
    }
    case PLIST_UINT: {
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return qint64(value);
    }
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return value != 0;
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value;
    }
    default:
        return std::nullopt;
    }
}

} // namespace

std::optional<QVariant> PlistTree::fromXml(const QByteArray &xml)
{
    plist_t root = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &root);
    if (!root) {
        return std::nullopt;
    }
    const std::unique_ptr<void, decltype(&plist_free)> owner(root, &plist_free);
    return convert(root);
}
