#include "about/Registry.h"

#include <QDesktopServices>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <QUrl>

namespace about {

namespace {

const QString kSysInfoKey = QStringLiteral("SOFTWARE\\Microsoft\\Shared Tools\\MSINFO");
constexpr RegistryHandle kSysInfoHandle = 1;

std::unique_ptr<Registry>& registrySlot()
{
    static std::unique_ptr<Registry> slot;
    return slot;
}

std::function<bool(const QString&)>& starterSlot()
{
    static std::function<bool(const QString&)> starter;
    return starter;
}

std::function<bool(const QString&)>& openerSlot()
{
    static std::function<bool(const QString&)> opener;
    return opener;
}

// How a hexadecimal text converts to a number in the program's original language: up to four
// digits make a 16-bit whole number and up to eight a 32-bit one, both signed.
QString hexToDecimalText(const QString& digits)
{
    bool ok = false;
    const quint64 value = digits.toULongLong(&ok, 16);
    if (!ok || digits.size() > 8) return QString();
    if (digits.size() <= 4) return QString::number(qint16(quint16(value)));
    return QString::number(qint32(quint32(value)));
}

}  // namespace

QStringList LinuxRegistry::SystemInformationPrograms()
{
    return {QStringLiteral("hardinfo"),
            QStringLiteral("hardinfo2"),
            QStringLiteral("gnome-system-monitor"),
            QStringLiteral("kinfocenter"),
            QStringLiteral("mate-system-monitor"),
            QStringLiteral("xfce4-taskmanager"),
            QStringLiteral("lxtask")};
}

QString LinuxRegistry::FindSystemInformationProgram()
{
    for (const QString& name : SystemInformationPrograms()) {
        const QString path = QStandardPaths::findExecutable(name);
        if (!path.isEmpty()) return path;
    }
    return QString();
}

bool LinuxRegistry::OpenKey(RegistryHandle root, const QString& keyName, quint32, RegistryHandle* key)
{
    *key = 0;
    if (root != HKEY_LOCAL_MACHINE || keyName.compare(kSysInfoKey, Qt::CaseInsensitive) != 0) return false;
    *key = kSysInfoHandle;
    return true;
}

bool LinuxRegistry::QueryValue(RegistryHandle key, const QString& valueName, quint32* type,
                               QByteArray* buffer, quint32* size)
{
    if (key != kSysInfoHandle || valueName.compare(QStringLiteral("PATH"), Qt::CaseInsensitive) != 0)
        return false;
    const QString program = FindSystemInformationProgram();
    if (program.isEmpty()) return false;
    QByteArray bytes = program.toUtf8();
    bytes.append('\0');
    if (quint32(bytes.size()) > *size) return false;
    buffer->replace(0, bytes.size(), bytes);
    *type = REG_SZ;
    *size = quint32(bytes.size());
    return true;
}

void LinuxRegistry::CloseKey(RegistryHandle) {}

Registry& CurrentRegistry()
{
    std::unique_ptr<Registry>& slot = registrySlot();
    if (!slot) slot = std::make_unique<LinuxRegistry>();
    return *slot;
}

void SetRegistry(std::unique_ptr<Registry> registry)
{
    registrySlot() = std::move(registry);
}

bool StartProgram(const QString& path)
{
    if (starterSlot()) return starterSlot()(path);
    // Detached, so the tool outlives the box and the program; the desktop gives it a normal,
    // focused window of its own.
    return QProcess::startDetached(path, QStringList());
}

void SetProgramStarter(std::function<bool(const QString& path)> starter)
{
    starterSlot() = std::move(starter);
}

bool OpenAddress(const QString& address)
{
    if (openerSlot()) return openerSlot()(address);
    return QDesktopServices::openUrl(QUrl::fromUserInput(address));
}

void SetAddressOpener(std::function<bool(const QString& address)> opener)
{
    openerSlot() = std::move(opener);
}

void DecodeKeyValue(quint32 type, const QByteArray& buffer, quint32 size, QString& keyVal)
{
    QByteArray value = buffer.left(int(qMin<quint32>(size, quint32(buffer.size()))));
    if (!value.isEmpty() && value.back() == '\0') value.chop(1);

    if (type == REG_SZ) {
        keyVal = QString::fromUtf8(value);
    } else if (type == REG_DWORD) {
        QString digits;
        for (int i = value.size() - 1; i >= 0; --i)
            digits += QString::number(quint8(value.at(i)), 16).toUpper();
        keyVal = hexToDecimalText(digits);
    }
}

}  // namespace about
