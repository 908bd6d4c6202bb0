#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>
#include <functional>
#include <memory>

// Read access to a registry of named keys and typed values, in the shape of the Windows calls the
// About box was written against. Linux has no registry; LinuxRegistry answers the About box's two
// questions from what the desktop really has installed, and tests put a fake in its place.
namespace about {

using RegistryHandle = quint32;  // a predefined root or an opened key; 0 is the empty handle

constexpr RegistryHandle HKEY_LOCAL_MACHINE = 0x80000002u;
constexpr quint32 KEY_ALL_ACCESS = 0x2003Fu;
constexpr quint32 REG_SZ = 1;
constexpr quint32 REG_DWORD = 4;

class Registry {
public:
    virtual ~Registry() = default;
    // Opens keyName below root; true and a non-zero handle on success.
    virtual bool OpenKey(RegistryHandle root, const QString& keyName, quint32 access,
                         RegistryHandle* key) = 0;
    // Reads a value into buffer (at most *size bytes); on success *type is its type and *size the
    // number of bytes written, including a string's terminating zero.
    virtual bool QueryValue(RegistryHandle key, const QString& valueName, quint32* type, QByteArray* buffer,
                            quint32* size) = 0;
    virtual void CloseKey(RegistryHandle key) = 0;
};

// Where a registry would name the system information program, this one looks on the PATH for the
// first of the programs that Linux desktops ship for the purpose. The folder of the old program
// (the second question) has no counterpart here and is never found.
class LinuxRegistry : public Registry {
public:
    bool OpenKey(RegistryHandle root, const QString& keyName, quint32 access, RegistryHandle* key) override;
    bool QueryValue(RegistryHandle key, const QString& valueName, quint32* type, QByteArray* buffer,
                    quint32* size) override;
    void CloseKey(RegistryHandle key) override;

    // The candidates, in the order they are tried.
    static QStringList SystemInformationPrograms();
    // The full path of the first candidate on the PATH, or "" when there is none.
    static QString FindSystemInformationProgram();
};

// The registry the About box reads; tests replace it (nullptr restores the Linux one).
Registry& CurrentRegistry();
void SetRegistry(std::unique_ptr<Registry> registry);

// Starts a program detached, with a normal window; true when it started. Tests replace it
// (an empty function restores the real starter, which uses QProcess::startDetached).
bool StartProgram(const QString& path);
void SetProgramStarter(std::function<bool(const QString& path)> starter);

// Opens an address with the desktop's default handler. Tests replace it the same way.
bool OpenAddress(const QString& address);
void SetAddressOpener(std::function<bool(const QString& address)> opener);

// Turns the raw bytes of a registry value into its text, the way the About box always has:
// the buffer is cut to size, a trailing zero is cut as a terminator, strings are taken as they
// stand, and a number is read byte by byte from the last to the first, each byte's hexadecimal
// digits appended without padding, and the digits read back as one hexadecimal number (so the
// bytes 05 01 00 00 read as 21, not 261). Any other type leaves keyVal as it was.
void DecodeKeyValue(quint32 type, const QByteArray& buffer, quint32 size, QString& keyVal);

}  // namespace about
