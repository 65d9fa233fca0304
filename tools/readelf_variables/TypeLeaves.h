#pragma once

#include "ElfVariables.h"

#include <QHash>

#include <elfutils/libdw.h>

// Expands a variable of a DWARF type into its scalar leaves. Typedefs and qualifiers are looked
// through; structs and unions become "outer.member", arrays "name[i]"; bit-fields and types that have
// no scalar name (functions, void, complex numbers) give nothing.
// Each type is walked once and its leaves kept, since firmware declares many variables of one type.
class TypeLeaves {
public:
    explicit TypeLeaves(const ElfExtractOptions& options) : m_options(options) {}

    // The leaves of a variable of type `type`; counts what was left out of it into *stats.
    QVector<ElfLeaf> LeavesOf(Dwarf_Die* type, ElfExtractStats* stats);

    // The name a base type is listed under ("unsigned short", "_Bool", ...), empty when it has none.
    static QByteArray BaseTypeName(int encoding, qint64 size, const char* dwarfName);
    // The "encoding" key of a base type's DWARF encoding: "signed", "unsigned", "float" or empty.
    static QByteArray EncodingName(int encoding);

private:
    struct Layout {
        QVector<ElfLeaf> leaves;
        ElfExtractStats stats;
    };

    void ExpandType(Dwarf_Die* type, const QByteArray& suffix, quint64 offset, int depth, Layout* layout);
    void ExpandMembers(Dwarf_Die* record, const QByteArray& suffix, quint64 offset, int depth,
                       Layout* layout);
    void ExpandArray(Dwarf_Die* array, const QByteArray& suffix, quint64 offset, int depth, Layout* layout);
    void WalkDimensions(const QVector<quint64>& dims, int level, Dwarf_Die* element, quint64 elementSize,
                        const QByteArray& suffix, quint64 offset, int depth, Layout* layout);

    ElfExtractOptions m_options;
    QHash<const void*, Layout> m_layouts; // by the type entry's place in the mapped debug information
};
