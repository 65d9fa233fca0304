#include "Platform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <cstring>

#ifdef _WIN32
#include <winsock2.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace Platform {

#ifdef _WIN32

bool StartSockets() {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

int CloseSocket(int handle) {
    return closesocket(static_cast<SOCKET>(handle));
}

QString ExecutableName(const QString& baseName) {
    return baseName + ".exe";
}

// The program directory comes with forward slashes; the name is joined with a backslash.
QString ExtractorPath(const QString& programDir) {
    return programDir + "\\readelf_variables.exe";
}

QString ExtractorFallbackPath() {
    return QStringLiteral("D:\\readelf_variables.exe");
}

QString DataFolder(const QString& programDir) {
    return programDir;
}

QChar DirSeparator() {
    return QLatin1Char('\\');
}

QStringList SearchPath() {
    return qEnvironmentVariable("Path").split(';', Qt::SkipEmptyParts);
}

QStringList GdbNames() {
    return {QStringLiteral("riscv32-unknown-elf-gdb.exe")};
}

QString GdbFolderMarker() {
    return QStringLiteral("cc_riscv32_musl_fp_win");
}

QString IdeGdbPath(const QString& home) {
    return home + "\\.quorinkit\\compiler_tool_chain\\Windows\\cc_riscv32_musl_fp_win\\bin\\"
                  "riscv32-unknown-elf-gdb.exe";
}

QString JLinkServerName() {
    return QStringLiteral("JLinkGDBServerCL.exe");
}

QString IdeOpenocdPath(const QString& ideFolder) {
    return ideFolder + "\\core\\qx_openocd\\bin\\openocd.exe";
}

// tasklist cuts image names to 25 characters; its "PID" header tells a listing from an error.
bool IsImageRunning(const QString& imageName) {
    QProcess tasklist;
    tasklist.start(QStringLiteral("tasklist"), QStringList());
    tasklist.waitForFinished(30000);
    const QString listing = QString::fromLocal8Bit(tasklist.readAllStandardOutput());
    return listing.contains(QStringLiteral("PID")) && listing.contains(imageName.left(25));
}

void EndDebugProcesses(const QList<QProcess*>&) {
    for (const QString image :
         {QStringLiteral("openocd.exe"), QStringLiteral("riscv32-unknown-elf-gdb.exe")}) {
        if (IsImageRunning(image))
            QProcess::execute(QStringLiteral("taskkill"), {"/im", image, "/f"});
    }
}

void* AllocateZeroedBlock(std::size_t bytes) {
    return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void ZeroBlock(void* block, std::size_t bytes) {
    std::memset(block, 0, bytes);
}

#else

bool StartSockets() {
    return true;
}

int CloseSocket(int handle) {
    return ::close(handle);
}

QString ExecutableName(const QString& baseName) {
    return baseName;
}

QString ExtractorPath(const QString& programDir) {
    return programDir + "/readelf_variables";
}

QString ExtractorFallbackPath() {
    return QStringLiteral("/usr/local/bin/readelf_variables");
}

QString DataFolder(const QString& programDir) {
    // A build tree or an unpacked copy keeps its files beside the program; an installed one (its data
    // in ../share/tidewatch) writes to the user's data folder, for root too.
    const bool installed = QFileInfo::exists(programDir + QStringLiteral("/../share/tidewatch"));
    if (!installed && QFileInfo(programDir).isWritable())
        return programDir;
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    QDir().mkpath(folder);
    return folder + '/';
}

QChar DirSeparator() {
    return QLatin1Char('/');
}

QStringList SearchPath() {
    return qEnvironmentVariable("PATH").split(':', Qt::SkipEmptyParts);
}

QStringList GdbNames() {
    return {"riscv32-unknown-elf-gdb", "riscv64-unknown-elf-gdb", "gdb-multiarch"};
}

QString GdbFolderMarker() {
    return QString();
}

QString IdeGdbPath(const QString&) {
    return QString();
}

QString JLinkServerName() {
    return QStringLiteral("JLinkGDBServerCLExe");
}

QString IdeOpenocdPath(const QString&) {
    return QString();
}

namespace {

QString BaseName(const QByteArray& path) {
    return QFileInfo(QString::fromLocal8Bit(path)).fileName();
}

// Whether /proc/<pid> is a live process of this user running the named program. The kernel keeps
// only 15 characters of a name; a longer one is confirmed by the program file or, for a script, by
// the script named in the command line.
bool RunsImage(const QString& pid, const QString& imageName) {
    const QString dir = "/proc/" + pid;
    if (QFileInfo(dir).ownerId() != ::getuid())
        return false;
    QFile statFile(dir + "/stat");
    if (!statFile.open(QIODevice::ReadOnly))
        return false;
    const QByteArray stat = statFile.readAll();
    const int open = stat.indexOf('('), close = stat.lastIndexOf(')');
    if (open < 0 || close < open || stat.mid(close + 2, 1) == "Z")
        return false;
    if (QString::fromLocal8Bit(stat.mid(open + 1, close - open - 1)) != imageName.left(15))
        return false;
    if (imageName.size() <= 15)
        return true;
    if (BaseName(QFile::symLinkTarget(dir + "/exe").toLocal8Bit()) == imageName)
        return true;
    QFile cmdline(dir + "/cmdline");
    if (!cmdline.open(QIODevice::ReadOnly))
        return false;
    const QList<QByteArray> argv = cmdline.readAll().split('\0');
    return BaseName(argv.value(0)) == imageName || BaseName(argv.value(1)) == imageName;
}

} // namespace

bool IsImageRunning(const QString& imageName) {
    const QStringList pids = QDir("/proc").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& pid : pids) {
        bool number = false;
        pid.toInt(&number);
        if (number && RunsImage(pid, imageName))
            return true;
    }
    return false;
}

// Asked to stop first, so that a server can end its own children (tidewatch-sim its emulator).
void EndDebugProcesses(const QList<QProcess*>& started) {
    for (QProcess* process : started)
        if (process->state() != QProcess::NotRunning)
            process->terminate();
    for (QProcess* process : started) {
        if (process->state() != QProcess::NotRunning && !process->waitForFinished(5000)) {
            process->kill();
            process->waitForFinished(5000);
        }
    }
}

void* AllocateZeroedBlock(std::size_t bytes) {
    void* block = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED)
        return nullptr;
    // The display reads this block at strides of many pages: huge pages spare it a TLB miss per read.
    // Only advice; without it the block works the same.
    ::madvise(block, bytes, MADV_HUGEPAGE);
    return block;
}

void ZeroBlock(void* block, std::size_t bytes) {
    // Private anonymous pages read as zeros again after MADV_DONTNEED.
    if (::madvise(block, bytes, MADV_DONTNEED) != 0)
        std::memset(block, 0, bytes);
}

#endif

} // namespace Platform
