#pragma once

#include "ElfVariables.h"

#include <elfutils/libdw.h>

// Expands a variable of a DWARF type into its scalar leaves. Typedefs and qualifiers are looked
// through; structs and unions become "outer.member", arrays "name[i]"; bit-fields and types that have
// no scalar name (functions, void, complex numbers) give nothing.
class TypeLeaves {
public:
    TypeLeaves(const ElfExtractOptions& options, ElfExtractStats* stats)
        : m_options(options), m_stats(stats) {}

    // Appends the leaves of one variable of type `type` starting at `address`.
    void Expand(Dwarf_Die* type, const QString& name, quint64 address, const QString& scope,
                QVector<ElfVariable>* out);

    // The name a base type is listed under ("unsigned short", "_Bool", ...), empty when it has none.
    static QString BaseTypeName(int encoding, qint64 size, const char* dwarfName);

private:
    void ExpandType(Dwarf_Die* type, const QString& name, quint64 address, int depth);
    void ExpandMembers(Dwarf_Die* record, const QString& name, quint64 address, int depth);
    void ExpandArray(Dwarf_Die* array, const QString& name, quint64 address, int depth);
    void AddLeaf(const QString& name, quint64 address, qint64 size, const QString& type);

    ElfExtractOptions m_options;
    ElfExtractStats* m_stats;
    QString m_scope;
    QVector<ElfVariable>* m_out = nullptr;
};
