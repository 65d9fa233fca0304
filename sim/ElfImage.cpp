#include "ElfImage.h"

#include <algorithm>
#include <fcntl.h>
#include <gelf.h>
#include <libelf.h>
#include <memory>
#include <unistd.h>

namespace Sim {

namespace {

// An open file descriptor with its libelf handle, both released together.
struct ElfFile {
    int fd = -1;
    Elf* elf = nullptr;
    explicit ElfFile(const QString& path) {
        elf_version(EV_CURRENT);
        fd = ::open(path.toLocal8Bit().constData(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0)
            elf = elf_begin(fd, ELF_C_READ, nullptr);
    }
    ~ElfFile() {
        if (elf)
            elf_end(elf);
        if (fd >= 0)
            ::close(fd);
    }
    ElfFile(const ElfFile&) = delete;
    ElfFile& operator=(const ElfFile&) = delete;
};

} // namespace

bool ElfImage::Load(const QString& path, std::uint64_t ramBase, std::uint64_t ramSize, QString* error) {
    m_path = path;
    ElfFile file(path);
    if (file.fd < 0) {
        *error = QStringLiteral("cannot open %1").arg(path);
        return false;
    }
    if (!file.elf || elf_kind(file.elf) != ELF_K_ELF) {
        *error = QStringLiteral("%1 is not an ELF file").arg(path);
        return false;
    }
    GElf_Ehdr header;
    if (!gelf_getehdr(file.elf, &header) || gelf_getclass(file.elf) != ELFCLASS32 ||
        header.e_machine != EM_RISCV) {
        *error = QStringLiteral("%1 is not a 32-bit RISC-V program").arg(path);
        return false;
    }
    if (header.e_type != ET_EXEC) {
        *error = QStringLiteral("%1 is not an executable (ET_EXEC)").arg(path);
        return false;
    }
    std::size_t count = 0;
    if (elf_getphdrnum(file.elf, &count) != 0)
        count = 0;
    m_probeBytes.clear();
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Phdr segment;
        if (!gelf_getphdr(file.elf, static_cast<int>(i), &segment) || segment.p_type != PT_LOAD ||
            segment.p_memsz == 0)
            continue;
        if (segment.p_paddr < ramBase || segment.p_paddr - ramBase + segment.p_memsz > ramSize) {
            *error = QStringLiteral("%1 loads at 0x%2, outside the RAM 0x%3..0x%4")
                         .arg(path)
                         .arg(segment.p_paddr, 0, 16)
                         .arg(ramBase, 0, 16)
                         .arg(ramBase + ramSize - 1, 0, 16);
            return false;
        }
        if (m_probeBytes.isEmpty() && segment.p_filesz > 0) {
            std::size_t size = 0;
            const char* image = elf_rawfile(file.elf, &size);
            const std::uint64_t length = std::min<std::uint64_t>(segment.p_filesz, 64);
            if (!image || segment.p_offset + length > size) {
                *error = QStringLiteral("%1 is truncated").arg(path);
                return false;
            }
            m_probeAddress = segment.p_paddr;
            m_probeBytes = QByteArray(image + segment.p_offset, static_cast<int>(length));
        }
    }
    if (m_probeBytes.isEmpty()) {
        *error = QStringLiteral("%1 has nothing to load").arg(path);
        return false;
    }
    m_entry = header.e_entry;
    return true;
}

std::uint64_t ElfImage::SymbolAddress(const QByteArray& name) const {
    ElfFile file(m_path);
    if (!file.elf)
        return 0;
    Elf_Scn* section = nullptr;
    while ((section = elf_nextscn(file.elf, section)) != nullptr) {
        GElf_Shdr sheader;
        if (!gelf_getshdr(section, &sheader) || sheader.sh_type != SHT_SYMTAB || sheader.sh_entsize == 0)
            continue;
        Elf_Data* data = elf_getdata(section, nullptr);
        const std::size_t symbols = sheader.sh_size / sheader.sh_entsize;
        for (std::size_t i = 0; data && i < symbols; ++i) {
            GElf_Sym symbol;
            if (!gelf_getsym(data, static_cast<int>(i), &symbol))
                continue;
            const char* symbolName = elf_strptr(file.elf, sheader.sh_link, symbol.st_name);
            if (symbolName && name == symbolName && symbol.st_shndx != SHN_UNDEF)
                return symbol.st_value;
        }
    }
    return 0;
}

} // namespace Sim
