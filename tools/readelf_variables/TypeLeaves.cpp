#include "TypeLeaves.h"

#include <dwarf.h>

#include <cstdio>
#include <cstring>

namespace {

// Deeper nesting than this only comes from corrupt or cyclic type information.
const int MaxDepth = 64;

// An array this large cannot be real memory of a microcontroller; it comes from a bound that is not
// a plain number (an unknown or negative one).
const quint64 MaxElements = quint64(1) << 32;

bool TypeOf(Dwarf_Die* die, Dwarf_Die* result) {
    Dwarf_Attribute attr;
    return dwarf_attr_integrate(die, DW_AT_type, &attr) != nullptr &&
           dwarf_formref_die(&attr, result) != nullptr;
}

bool IsTransparent(int tag) {
    return tag == DW_TAG_typedef || tag == DW_TAG_const_type || tag == DW_TAG_volatile_type ||
           tag == DW_TAG_restrict_type || tag == DW_TAG_atomic_type;
}

bool UnsignedAttr(Dwarf_Die* die, unsigned int name, Dwarf_Word* value) {
    Dwarf_Attribute attr;
    return dwarf_attr_integrate(die, name, &attr) != nullptr && dwarf_formudata(&attr, value) == 0;
}

// Size of a pointer: its own byte size, else the address size of its unit.
qint64 PointerSize(Dwarf_Die* pointer) {
    const int size = dwarf_bytesize(pointer);
    if (size > 0) {
        return size;
    }
    Dwarf_Die cu;
    uint8_t addressSize = 0;
    if (dwarf_diecu(pointer, &cu, &addressSize, nullptr) == nullptr) {
        return 0;
    }
    return addressSize;
}

// Offset of a member in its struct: a constant, or (older producers) a DW_OP_plus_uconst expression.
// Union members carry no offset.
bool MemberOffset(Dwarf_Die* member, quint64* offset) {
    Dwarf_Attribute attr;
    if (dwarf_attr(member, DW_AT_data_member_location, &attr) == nullptr) {
        *offset = 0;
        return true;
    }
    switch (dwarf_whatform(&attr)) {
    case DW_FORM_exprloc:
    case DW_FORM_block:
    case DW_FORM_block1:
    case DW_FORM_block2:
    case DW_FORM_block4: {
        Dwarf_Op* ops = nullptr;
        size_t count = 0;
        if (dwarf_getlocation(&attr, &ops, &count) != 0 || count != 1 || ops[0].atom != DW_OP_plus_uconst) {
            return false;
        }
        *offset = ops[0].number;
        return true;
    }
    default: {
        Dwarf_Word value = 0;
        if (dwarf_formudata(&attr, &value) != 0) {
            return false;
        }
        *offset = value;
        return true;
    }
    }
}

// Number of elements along one array dimension; 0 when unknown (flexible, variable length).
quint64 DimensionCount(Dwarf_Die* subrange) {
    Dwarf_Word count = 0;
    if (UnsignedAttr(subrange, DW_AT_count, &count)) {
        return count < MaxElements ? count : 0;
    }
    Dwarf_Attribute attr;
    Dwarf_Sword upper = 0;
    if (dwarf_attr_integrate(subrange, DW_AT_upper_bound, &attr) == nullptr ||
        dwarf_formsdata(&attr, &upper) != 0) {
        return 0;
    }
    Dwarf_Sword lower = 0;
    if (dwarf_attr_integrate(subrange, DW_AT_lower_bound, &attr) != nullptr &&
        dwarf_formsdata(&attr, &lower) != 0) {
        return 0;
    }
    if (upper < lower) {
        return 0;
    }
    const quint64 n = quint64(upper - lower) + 1;
    return n < MaxElements ? n : 0;
}

const QByteArray& PointerName() {
    static const QByteArray name = QByteArrayLiteral("pointer");
    return name;
}

} // namespace

QByteArray TypeLeaves::BaseTypeName(int encoding, qint64 size, const char* dwarfName) {
    bool isSigned = false;
    switch (encoding) {
    case DW_ATE_boolean:
        return QByteArrayLiteral("_Bool");
    case DW_ATE_float:
        if (size == 4) {
            return QByteArrayLiteral("float");
        }
        if (size == 8) {
            return QByteArrayLiteral("double");
        }
        return size > 8 ? QByteArrayLiteral("long double") : QByteArray();
    case DW_ATE_signed_char:
    case DW_ATE_unsigned_char:
        // Plain char is its own type whatever its signedness on the target.
        if (size == 1 && dwarfName != nullptr && std::strcmp(dwarfName, "char") == 0) {
            return QByteArrayLiteral("char");
        }
        isSigned = encoding == DW_ATE_signed_char;
        break;
    case DW_ATE_signed:
        isSigned = true;
        break;
    case DW_ATE_unsigned:
    case DW_ATE_UTF:
        break;
    default:
        return QByteArray();
    }
    switch (size) {
    case 1:
        return isSigned ? QByteArrayLiteral("signed char") : QByteArrayLiteral("unsigned char");
    case 2:
        return isSigned ? QByteArrayLiteral("short") : QByteArrayLiteral("unsigned short");
    case 4:
        return isSigned ? QByteArrayLiteral("int") : QByteArrayLiteral("unsigned int");
    case 8:
        return isSigned ? QByteArrayLiteral("long long") : QByteArrayLiteral("unsigned long long");
    default:
        return QByteArray();
    }
}

QByteArray TypeLeaves::EncodingName(int encoding) {
    switch (encoding) {
    case DW_ATE_signed:
    case DW_ATE_signed_char:
        return QByteArrayLiteral("signed");
    case DW_ATE_unsigned:
    case DW_ATE_unsigned_char:
    case DW_ATE_boolean:
    case DW_ATE_UTF:
        return QByteArrayLiteral("unsigned");
    case DW_ATE_float:
        return QByteArrayLiteral("float");
    default:
        return QByteArray();
    }
}

QVector<ElfLeaf> TypeLeaves::LeavesOf(Dwarf_Die* type, ElfExtractStats* stats) {
    const void* key = type->addr;
    auto it = m_layouts.find(key);
    if (it == m_layouts.end()) {
        Layout layout;
        ExpandType(type, QByteArray(), 0, 0, &layout);
        it = m_layouts.insert(key, layout);
    }
    stats->arraysCut += it->stats.arraysCut;
    stats->bitFields += it->stats.bitFields;
    return it->leaves;
}

void TypeLeaves::ExpandType(Dwarf_Die* type, const QByteArray& suffix, quint64 offset, int depth,
                            Layout* layout) {
    Dwarf_Die die = *type;
    // An anonymous enum is known by the typedef that names it ("typedef enum {...} state_t").
    const char* typedefName = nullptr;
    for (int i = 0; IsTransparent(dwarf_tag(&die)); ++i) {
        if (i >= MaxDepth) {
            return;
        }
        if (dwarf_tag(&die) == DW_TAG_typedef) {
            typedefName = dwarf_diename(&die);
        }
        Dwarf_Die next;
        if (!TypeOf(&die, &next)) {
            return; // const void and the like
        }
        die = next;
    }
    if (depth >= MaxDepth || dwarf_hasattr(&die, DW_AT_declaration)) {
        return;
    }

    QByteArray typeName;
    QByteArray encodingName;
    qint64 size = 0;
    switch (dwarf_tag(&die)) {
    case DW_TAG_base_type: {
        Dwarf_Word encoding = 0;
        size = dwarf_bytesize(&die);
        if (UnsignedAttr(&die, DW_AT_encoding, &encoding)) {
            typeName = BaseTypeName(int(encoding), size, dwarf_diename(&die));
            encodingName = EncodingName(int(encoding));
        }
        break;
    }
    case DW_TAG_enumeration_type: {
        const char* enumName = dwarf_diename(&die);
        if (enumName == nullptr) {
            enumName = typedefName;
        }
        typeName = QByteArrayLiteral("enum");
        if (enumName != nullptr) {
            typeName.append(' ').append(enumName);
        }
        size = dwarf_bytesize(&die);
        // The compiler names the integer type it chose; without it the enum reads as C's int.
        encodingName = QByteArrayLiteral("signed");
        Dwarf_Die underlying;
        Dwarf_Word encoding = 0;
        if (TypeOf(&die, &underlying) && dwarf_peel_type(&underlying, &underlying) == 0 &&
            UnsignedAttr(&underlying, DW_AT_encoding, &encoding) && !EncodingName(int(encoding)).isEmpty()) {
            encodingName = EncodingName(int(encoding));
        }
        break;
    }
    case DW_TAG_pointer_type:
    case DW_TAG_reference_type:
    case DW_TAG_rvalue_reference_type:
    case DW_TAG_ptr_to_member_type:
        typeName = PointerName();
        encodingName = QByteArrayLiteral("unsigned");
        size = PointerSize(&die);
        break;
    case DW_TAG_structure_type:
    case DW_TAG_class_type:
    case DW_TAG_union_type:
        ExpandMembers(&die, suffix, offset, depth, layout);
        return;
    case DW_TAG_array_type:
        ExpandArray(&die, suffix, offset, depth, layout);
        return;
    default:
        return; // functions, void, complex numbers: nothing to sample
    }
    if (size > 0 && !typeName.isEmpty()) {
        layout->leaves.append({suffix, offset, size, typeName, encodingName});
    }
}

void TypeLeaves::ExpandMembers(Dwarf_Die* record, const QByteArray& suffix, quint64 offset, int depth,
                               Layout* layout) {
    Dwarf_Die child;
    if (dwarf_child(record, &child) != 0) {
        return;
    }
    do {
        const int tag = dwarf_tag(&child);
        if (tag != DW_TAG_member && tag != DW_TAG_inheritance) {
            continue;
        }
        if (dwarf_hasattr(&child, DW_AT_bit_size)) {
            ++layout->stats.bitFields;
            continue;
        }
        // Static data members live elsewhere and are listed where they are defined.
        if (dwarf_hasattr(&child, DW_AT_declaration) || dwarf_hasattr(&child, DW_AT_external)) {
            continue;
        }
        quint64 memberOffset = 0;
        Dwarf_Die memberType;
        if (!MemberOffset(&child, &memberOffset) || !TypeOf(&child, &memberType)) {
            continue;
        }
        // Base classes and anonymous structs or unions add their members at the outer level.
        const char* memberName = tag == DW_TAG_member ? dwarf_diename(&child) : nullptr;
        QByteArray leafSuffix = suffix;
        if (memberName != nullptr) {
            leafSuffix.append('.').append(memberName);
        }
        ExpandType(&memberType, leafSuffix, offset + memberOffset, depth + 1, layout);
    } while (dwarf_siblingof(&child, &child) == 0);
}

void TypeLeaves::ExpandArray(Dwarf_Die* array, const QByteArray& suffix, quint64 offset, int depth,
                             Layout* layout) {
    QVector<quint64> dims;
    Dwarf_Die child;
    if (dwarf_child(array, &child) == 0) {
        do {
            const int tag = dwarf_tag(&child);
            if (tag == DW_TAG_subrange_type) {
                dims.append(DimensionCount(&child));
            } else if (tag == DW_TAG_enumeration_type) {
                dims.append(0); // indexed by an enum: no plain C index to print
            }
        } while (dwarf_siblingof(&child, &child) == 0);
    }
    Dwarf_Die element;
    Dwarf_Word elementSize = 0;
    if (dims.isEmpty() || dims.contains(0) || !TypeOf(array, &element) ||
        dwarf_aggregate_size(&element, &elementSize) != 0 || elementSize == 0) {
        return;
    }
    WalkDimensions(dims, 0, &element, elementSize, suffix, offset, depth, layout);
}

// Lists the elements in row-major order, one index per dimension ("[1][2]").
void TypeLeaves::WalkDimensions(const QVector<quint64>& dims, int level, Dwarf_Die* element,
                                quint64 elementSize, const QByteArray& suffix, quint64 offset, int depth,
                                Layout* layout) {
    quint64 stride = elementSize;
    for (int i = level + 1; i < dims.size(); ++i) {
        stride *= dims[i];
    }
    quint64 listed = dims[level];
    if (m_options.arrayLimit > 0 && listed > quint64(m_options.arrayLimit)) {
        listed = quint64(m_options.arrayLimit);
        ++layout->stats.arraysCut;
    }
    for (quint64 i = 0; i < listed; ++i) {
        char index[32];
        std::snprintf(index, sizeof index, "[%llu]", static_cast<unsigned long long>(i));
        const QByteArray leafSuffix = suffix + static_cast<const char*>(index);
        if (level + 1 < dims.size()) {
            WalkDimensions(dims, level + 1, element, elementSize, leafSuffix, offset + i * stride, depth,
                           layout);
        } else {
            ExpandType(element, leafSuffix, offset + i * stride, depth + 1, layout);
        }
    }
}
