#pragma once

#include <string>

#include "Db/Tbl/HubTables.h"

/// All of an accessor's current row: every member, indicator and typed value.
template <class Accessor> std::string rowBytes(Accessor& accessor) {
    std::string bytes;
    const char* const row = reinterpret_cast<const char*>(accessor.getDataPtr());
    for (std::size_t i = 0; const OVDBColumn& column : accessor.declaration().columns) {
        const char* const member = row + column.offset;
        if (column.isInteger() || column.isFixedText()) {
            bytes.append(member, column.size);
        } else {
            const auto& text = *reinterpret_cast<const OVDBText*>(member);
            (bytes += std::to_string(text.bytes.size()) + (text.isNull ? "n" : "t")) += text.bytes;
        }
        bytes += accessor.getIndicator(i) == 0 ? '.' : '0';
        if (auto* typed = accessor.getTypedRow(); typed != nullptr && !typed->getData()[i]->null) {
            typed->getData()[i]->setString();
            (bytes += 'V') += typed->getData()[i]->getStr();
        }
        ++i;
    }
    return bytes;
}
