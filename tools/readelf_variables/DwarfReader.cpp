#include "DwarfReader.h"

#include "TypeLeaves.h"

#include <QSet>

#include <dwarf.h>
#include <elfutils/libdw.h>
#include <fcntl.h>
#include <gelf.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace {

// Address ranges the program occupies in memory. The linker points the debug information of
// sections it dropped (--gc-sections) at address 0; such variables are not in the firmware.
class LoadedRanges {
public:
    void Add(quint64 start, quint64 size) { m_ranges.append({start, start + size}); }
    bool Contains(quint64 address) const {
        for (const auto& range : m_ranges) {
            if (address >= range.first && address < range.second) {
                return true;
            }
        }
        return false;
    }

private:
    QVector<std::pair<quint64, quint64>> m_ranges;
};

// Owns the open file, its ELF handle and its DWARF handle.
struct ElfFile {
    int fd = -1;
    Elf* elf = nullptr;
    Dwarf* dwarf = nullptr;
    ~ElfFile() {
        if (dwarf != nullptr) {
            dwarf_end(dwarf);
        }
        if (elf != nullptr) {
            elf_end(elf);
        }
        if (fd >= 0) {
            close(fd);
        }
    }
};

QByteArray FileName(const char* path) {
    // Producers on Windows write backslashes; either separator ends the folder part.
    const QByteArray text(path);
    const int cut = qMax(text.lastIndexOf('/'), text.lastIndexOf('\\'));
    return text.mid(cut + 1);
}

const char* IntegratedName(Dwarf_Die* die) {
    Dwarf_Attribute attr;
    return dwarf_formstring(dwarf_attr_integrate(die, DW_AT_name, &attr));
}

bool IsExternal(Dwarf_Die* die) {
    Dwarf_Attribute attr;
    bool flag = false;
    return dwarf_attr_integrate(die, DW_AT_external, &attr) != nullptr && dwarf_formflag(&attr, &flag) == 0 &&
           flag;
}

// The address of a variable whose location is one fixed address; false for registers, stack slots,
// location lists, thread-local storage and constants.
bool FixedAddress(Dwarf_Attribute* location, quint64* address) {
    Dwarf_Op* ops = nullptr;
    size_t count = 0;
    if (dwarf_getlocation(location, &ops, &count) != 0 || count != 1) {
        return false;
    }
    switch (ops[0].atom) {
    case DW_OP_addr:
        *address = ops[0].number;
        return true;
    case DW_OP_addrx:
    case DW_OP_GNU_addr_index: {
        Dwarf_Attribute indexed;
        Dwarf_Addr value = 0;
        if (dwarf_getlocation_attr(location, &ops[0], &indexed) != 0 ||
            dwarf_formaddr(&indexed, &value) != 0) {
            return false;
        }
        *address = value;
        return true;
    }
    default:
        return false;
    }
}

// Walks one compilation unit and collects its variables.
class UnitWalker {
public:
    UnitWalker(const LoadedRanges& ranges, TypeLeaves* leaves, ElfVariableGroup* group,
               ElfExtractStats* stats)
        : m_ranges(ranges), m_leaves(leaves), m_group(group), m_stats(stats) {}

    // False when the unit's tree cannot be read.
    bool WalkChildren(Dwarf_Die* parent, const QByteArray& prefix) {
        Dwarf_Die child;
        const int rc = dwarf_child(parent, &child);
        if (rc != 0) {
            return rc > 0;
        }
        int next = 0;
        do {
            if (!Visit(&child, prefix)) {
                return false;
            }
        } while ((next = dwarf_siblingof(&child, &child)) == 0);
        return next > 0;
    }

private:
    bool Visit(Dwarf_Die* die, const QByteArray& prefix) {
        switch (dwarf_tag(die)) {
        case DW_TAG_variable:
            AddVariable(die, prefix);
            return true;
        case DW_TAG_subprogram:
        case DW_TAG_inlined_subroutine:
        case DW_TAG_namespace: {
            // Statics of a function are listed as "function::name", as a debugger spells them.
            const char* name = IntegratedName(die);
            QByteArray inner = prefix;
            if (name != nullptr) {
                inner.append(name).append("::");
            }
            return WalkChildren(die, inner);
        }
        case DW_TAG_lexical_block:
            return WalkChildren(die, prefix);
        case DW_TAG_invalid:
            return false;
        default:
            return true; // types and other entries hold no variables with storage of their own
        }
    }

    void AddVariable(Dwarf_Die* die, const QByteArray& prefix) {
        Dwarf_Attribute location;
        quint64 address = 0;
        if (dwarf_attr(die, DW_AT_location, &location) == nullptr || !FixedAddress(&location, &address) ||
            !m_ranges.Contains(address)) {
            return;
        }
        const char* name = IntegratedName(die);
        Dwarf_Attribute typeAttr;
        Dwarf_Die type;
        if (name == nullptr || dwarf_attr_integrate(die, DW_AT_type, &typeAttr) == nullptr ||
            dwarf_formref_die(&typeAttr, &type) == nullptr) {
            return;
        }
        const QByteArray fullName = prefix + name;
        // An inlined function may describe the same static more than once; a unit's own variables
        // have one defining entry each.
        if (!prefix.isEmpty()) {
            const std::pair<QByteArray, quint64> identity(fullName, address);
            if (m_seen.contains(identity)) {
                return;
            }
            m_seen.insert(identity);
        }
        static const QByteArray global = QByteArrayLiteral("global");
        static const QByteArray local = QByteArrayLiteral("static");
        ElfVariable var;
        var.leaves = m_leaves->LeavesOf(&type, m_stats);
        if (var.leaves.isEmpty()) {
            return;
        }
        var.name = fullName;
        var.address = address;
        var.scope = IsExternal(die) ? global : local;
        m_group->vars.append(var);
    }

    const LoadedRanges& m_ranges;
    TypeLeaves* m_leaves;
    ElfVariableGroup* m_group;
    ElfExtractStats* m_stats;
    QSet<std::pair<QByteArray, quint64>> m_seen;
};

// Collects the loaded sections and tells whether the file carries debug information at all.
bool ScanSections(Elf* elf, LoadedRanges* ranges, bool* hasDebugInfo) {
    size_t namesIndex = 0;
    if (elf_getshdrstrndx(elf, &namesIndex) != 0) {
        return false;
    }
    *hasDebugInfo = false;
    for (Elf_Scn* section = elf_nextscn(elf, nullptr); section != nullptr;
         section = elf_nextscn(elf, section)) {
        GElf_Shdr sh;
        if (gelf_getshdr(section, &sh) == nullptr) {
            return false;
        }
        const char* name = elf_strptr(elf, namesIndex, sh.sh_name);
        if (name != nullptr &&
            (std::strcmp(name, ".debug_info") == 0 || std::strcmp(name, ".zdebug_info") == 0)) {
            *hasDebugInfo = true;
        }
        if ((sh.sh_flags & SHF_ALLOC) != 0 && sh.sh_size > 0) {
            ranges->Add(sh.sh_addr, sh.sh_size);
        }
    }
    return true;
}

// The reason of the last libdw failure; some failures set none.
QString DwarfError() {
    const int code = dwarf_errno();
    return code != 0 ? QString::fromUtf8(dwarf_errmsg(code)) : QStringLiteral("no usable compilation unit");
}

} // namespace

int ReadElfVariables(const QString& elfPath, const ElfExtractOptions& options,
                     QVector<ElfVariableGroup>* groups, ElfExtractStats* stats, QString* error) {
    groups->clear();
    *stats = ElfExtractStats();
    const QByteArray path = elfPath.toLocal8Bit();
    ElfFile file;
    file.fd = open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (file.fd < 0) {
        *error =
            QStringLiteral("cannot open '%1': %2").arg(elfPath, QString::fromLocal8Bit(std::strerror(errno)));
        return -1;
    }
    elf_version(EV_CURRENT);
    file.elf = elf_begin(file.fd, ELF_C_READ_MMAP, nullptr);
    if (file.elf == nullptr || elf_kind(file.elf) != ELF_K_ELF) {
        *error = QStringLiteral("'%1' is not an ELF file").arg(elfPath);
        return -1;
    }
    // An object file's debug information only makes sense once its relocations are applied, and its
    // variables have no addresses yet: only a linked program can be sampled.
    GElf_Ehdr header;
    if (gelf_getehdr(file.elf, &header) == nullptr) {
        *error =
            QStringLiteral("'%1' is a damaged ELF file: %2").arg(elfPath, QString::fromUtf8(elf_errmsg(-1)));
        return -1;
    }
    if (header.e_type != ET_EXEC && header.e_type != ET_DYN) {
        *error =
            QStringLiteral("'%1' is not a linked program (an object file or core dump?); give the firmware's "
                           "linked ELF file")
                .arg(elfPath);
        return -1;
    }
    LoadedRanges ranges;
    bool hasDebugInfo = false;
    if (!ScanSections(file.elf, &ranges, &hasDebugInfo)) {
        *error =
            QStringLiteral("'%1' is a damaged ELF file: %2").arg(elfPath, QString::fromUtf8(elf_errmsg(-1)));
        return -1;
    }
    if (!hasDebugInfo) {
        *error = QStringLiteral("'%1' has no debug information (build it with -g)").arg(elfPath);
        return -1;
    }
    file.dwarf = dwarf_begin_elf(file.elf, DWARF_C_READ, nullptr);
    if (file.dwarf == nullptr) {
        *error = QStringLiteral("cannot read the debug information of '%1': %2").arg(elfPath, DwarfError());
        return -1;
    }

    TypeLeaves leaves(options);
    Dwarf_CU* unit = nullptr;
    for (;;) {
        Dwarf_CU* next = nullptr;
        Dwarf_Half version = 0;
        uint8_t unitType = 0;
        Dwarf_Die unitDie;
        Dwarf_Die subDie;
        const int rc = dwarf_get_units(file.dwarf, unit, &next, &version, &unitType, &unitDie, &subDie);
        if (rc > 0) {
            break;
        }
        if (rc < 0) {
            *error =
                QStringLiteral("cannot read the debug information of '%1': %2").arg(elfPath, DwarfError());
            return -1;
        }
        unit = next;
        if (unitType != DW_UT_compile) {
            continue; // type units and partial units define no variables of their own
        }
        const char* unitName = dwarf_diename(&unitDie);
        ElfVariableGroup group;
        group.name = unitName != nullptr ? FileName(unitName) : QByteArrayLiteral("?");
        UnitWalker walker(ranges, &leaves, &group, stats);
        if (!walker.WalkChildren(&unitDie, QByteArray())) {
            *error = QStringLiteral("cannot read the debug information of '%1' (in unit '%2'): %3")
                         .arg(elfPath, QString::fromUtf8(group.name), DwarfError());
            return -1;
        }
        if (!group.vars.isEmpty()) {
            groups->append(group);
        }
    }
    return 0;
}
