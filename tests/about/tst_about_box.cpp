#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QMap>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include "TestSupport.h"
#include "about/Registry.h"
#include "about/frmAbout.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "version.h"
#include "windows/frmMain.h"

using namespace testsupport;

namespace {

const QString kSysInfoKey = QStringLiteral("SOFTWARE\\Microsoft\\Shared Tools\\MSINFO");
const QString kSysInfoLocKey = QStringLiteral("SOFTWARE\\Microsoft\\Shared Tools Location");
const QString kUnavailable = QStringLiteral("此时系统信息不可用");

struct Value {
    quint32 type;
    QByteArray bytes;
};

// A registry held in memory. It records every handle it is asked to close.
class FakeRegistry : public about::Registry {
public:
    QMap<QString, QMap<QString, Value>> keys;  // key name -> value name -> value
    QList<about::RegistryHandle> closed;
    QList<QString> opened;
    QList<quint32> accessMasks;

    bool OpenKey(about::RegistryHandle root, const QString& keyName, quint32 access,
                 about::RegistryHandle* key) override
    {
        opened << keyName;
        accessMasks << access;
        *key = 0;
        if (root != about::HKEY_LOCAL_MACHINE || !keys.contains(keyName)) return false;
        *key = about::RegistryHandle(100 + keys.keys().indexOf(keyName));
        return true;
    }
    bool QueryValue(about::RegistryHandle key, const QString& valueName, quint32* type, QByteArray* buffer,
                    quint32* size) override
    {
        const QString name = keys.keys().value(int(key) - 100);
        if (!keys.value(name).contains(valueName)) return false;
        const Value v = keys.value(name).value(valueName);
        if (quint32(v.bytes.size()) > *size) return false;
        buffer->replace(0, v.bytes.size(), v.bytes);
        *type = v.type;
        *size = quint32(v.bytes.size());
        return true;
    }
    void CloseKey(about::RegistryHandle key) override { closed << key; }
};

QByteArray sz(const QString& text)
{
    QByteArray b = text.toUtf8();
    b.append('\0');
    return b;
}

}  // namespace

class tst_about_box : public QObject {
    Q_OBJECT
private:
    FakeRegistry* fake = nullptr;
    QStringList started;
    bool startSucceeds = true;
    QStringList opened;

    frmAbout* showBox()
    {
        auto* box = qobject_cast<frmAbout*>(Forms::Show(QStringLiteral("frmAbout")));
        if (!box) qWarning("the About box did not open");
        return box;
    }

private slots:
    void initTestCase()
    {
        Forms::Register(QStringLiteral("frmAbout"), [] { return new frmAbout; });
    }
    void init()
    {
        auto registry = std::make_unique<FakeRegistry>();
        fake = registry.get();
        about::SetRegistry(std::move(registry));
        started.clear();
        opened.clear();
        startSucceeds = true;
        about::SetProgramStarter([this](const QString& path) {
            started << path;
            return startSucceeds;
        });
        about::SetAddressOpener([this](const QString& address) {
            opened << address;
            return true;
        });
    }
    void cleanup()
    {
        Forms::Unload(QStringLiteral("frmAbout"));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        about::SetRegistry(nullptr);
        about::SetProgramStarter(nullptr);
        about::SetAddressOpener(nullptr);
    }

    void version_text_is_major_minor_revision_unpadded()
    {
        QCOMPARE(frmAbout::VersionText(2, 1, 0), QStringLiteral("版本 2.1.0"));
        QCOMPARE(frmAbout::VersionText(1, 0, 12), QStringLiteral("版本 1.0.12"));
    }

    void load_shows_caption_title_and_the_build_version()
    {
        ProgramFolder folder;
        frmAbout* box = showBox();
        QVERIFY(box);
        QCOMPARE(box->windowTitle(), QStringLiteral("关于 Tavrelo"));
        QCOMPARE(box->lblTitle->text(), QStringLiteral("Tavrelo"));
        const QString expected = QStringLiteral("版本 %1.%2.%3")
                                     .arg(TAVRELO_VERSION_MAJOR)
                                     .arg(TAVRELO_VERSION_MINOR)
                                     .arg(TAVRELO_VERSION_PATCH);
        QCOMPARE(box->lblVersion->text(), expected);
        QCOMPARE(box->cmdOK->text(), QStringLiteral("确定"));
        QCOMPARE(box->cmdSysInfo->text(), QStringLiteral("系统信息(&S)..."));
    }

    void help_menu_opens_one_mdi_child()
    {
        ProgramFolder folder;
        frmMain frame;
        frame.show();
        frame.mnuAbout->trigger();
        auto* box = qobject_cast<frmAbout*>(Forms::Find(QStringLiteral("frmAbout")));
        QVERIFY(box);
        auto* sub = qobject_cast<QMdiSubWindow*>(box->parentWidget());
        QVERIFY(sub);
        QCOMPARE(sub->windowTitle(), QStringLiteral("关于 Tavrelo"));
        frame.mnuAbout->trigger();
        QCOMPARE(frame.MdiArea()->subWindowList().size(), 1);
        Forms::Unload(QStringLiteral("frmAbout"));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!Forms::Find(QStringLiteral("frmAbout")));
    }

    void ok_closes_the_box()
    {
        frmAbout* box = showBox();
        QVERIFY(box);
        QVERIFY(Click(box, QStringLiteral("cmdOK")));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!Forms::Find(QStringLiteral("frmAbout")));
    }

    void address_label_opens_the_program_folder()
    {
        ProgramFolder folder;
        frmAbout* box = showBox();
        QVERIFY(box);
        QTest::mouseClick(box->Label1, Qt::LeftButton);
        QCOMPARE(opened, QStringList{QUrl::fromLocalFile(folder.Path()).toString()});
    }

    void registered_path_is_started()
    {
        MsgBoxRecorder messages;
        fake->keys[kSysInfoKey][QStringLiteral("PATH")] = {about::REG_SZ,
                                                           sz(QStringLiteral("/opt/info/sysinfo"))};
        fake->keys[kSysInfoLocKey][QStringLiteral("MSINFO")] = {about::REG_SZ,
                                                                sz(QStringLiteral("/elsewhere"))};
        frmAbout* box = showBox();
        QVERIFY(box);
        QVERIFY(Click(box, QStringLiteral("cmdSysInfo")));
        QCOMPARE(started, QStringList{QStringLiteral("/opt/info/sysinfo")});
        QVERIFY(messages.Texts().isEmpty());
        // The second location is not consulted once the first answered.
        QCOMPARE(fake->opened, QStringList{kSysInfoKey});
        QCOMPARE(fake->accessMasks, QList<quint32>{0x2003Fu});
    }

    void failed_start_shows_the_message()
    {
        MsgBoxRecorder messages;
        fake->keys[kSysInfoKey][QStringLiteral("PATH")] = {about::REG_SZ,
                                                           sz(QStringLiteral("/opt/info/sysinfo"))};
        startSucceeds = false;
        frmAbout box;
        box.StartSysInfo();
        QCOMPARE(started.size(), 1);
        QCOMPARE(messages.Texts(), QStringList{kUnavailable});
    }

    void folder_with_the_program_is_used_when_the_path_is_absent()
    {
        MsgBoxRecorder messages;
        QTemporaryDir dir;
        QFile exe(dir.filePath(QStringLiteral("MSINFO32.EXE")));
        QVERIFY(exe.open(QIODevice::WriteOnly));
        exe.close();
        // The first key exists but has no PATH value: the folder is asked next.
        fake->keys[kSysInfoKey][QStringLiteral("OTHER")] = {about::REG_SZ, sz(QStringLiteral("x"))};
        fake->keys[kSysInfoLocKey][QStringLiteral("MSINFO")] = {about::REG_SZ, sz(dir.path())};
        frmAbout box;
        box.StartSysInfo();
        QCOMPARE(started, QStringList{dir.path() + QStringLiteral("/MSINFO32.EXE")});
        QVERIFY(messages.Texts().isEmpty());
    }

    void folder_without_the_program_shows_the_message()
    {
        MsgBoxRecorder messages;
        QTemporaryDir dir;
        fake->keys[kSysInfoLocKey][QStringLiteral("MSINFO")] = {about::REG_SZ, sz(dir.path())};
        frmAbout box;
        box.StartSysInfo();
        QVERIFY(started.isEmpty());
        QCOMPARE(messages.Texts(), QStringList{kUnavailable});
        QCOMPARE(messages.messages.first().second, ui::Buttons::OkOnly);
    }

    void nothing_registered_shows_the_message()
    {
        MsgBoxRecorder messages;
        frmAbout box;
        box.StartSysInfo();
        QVERIFY(started.isEmpty());
        QCOMPARE(messages.Texts(), QStringList{kUnavailable});
        QCOMPARE(fake->opened, (QStringList{kSysInfoKey, kSysInfoLocKey}));
    }

    void every_lookup_closes_its_handle()
    {
        fake->keys[kSysInfoKey][QStringLiteral("PATH")] = {about::REG_SZ, sz(QStringLiteral("/bin/x"))};
        QString value = QStringLiteral("kept");
        QVERIFY(!frmAbout::GetKeyValue(about::HKEY_LOCAL_MACHINE, QStringLiteral("NO\\SUCH"), "PATH", value));
        QCOMPARE(value, QString());  // a failed open empties the value
        value = QStringLiteral("kept");
        QVERIFY(!frmAbout::GetKeyValue(about::HKEY_LOCAL_MACHINE, kSysInfoKey, "NOVALUE", value));
        QCOMPARE(value, QString());
        QVERIFY(frmAbout::GetKeyValue(about::HKEY_LOCAL_MACHINE, kSysInfoKey, "PATH", value));
        QCOMPARE(value, QStringLiteral("/bin/x"));
        // The failed open closes the empty handle; the other two close the opened key.
        QCOMPARE(fake->closed, (QList<about::RegistryHandle>{0, 100, 100}));
    }

    void number_value_is_read_through_the_registry()
    {
        fake->keys[QStringLiteral("K")][QStringLiteral("N")] = {about::REG_DWORD,
                                                                QByteArray("\x05\x01\x00\x00", 4)};
        fake->keys[QStringLiteral("K")][QStringLiteral("B")] = {3, QByteArray("\x01\x02", 2)};
        QString value;
        QVERIFY(frmAbout::GetKeyValue(about::HKEY_LOCAL_MACHINE, QStringLiteral("K"), QStringLiteral("N"),
                                      value));
        QCOMPARE(value, QStringLiteral("21"));
        value = QStringLiteral("as passed");
        QVERIFY(frmAbout::GetKeyValue(about::HKEY_LOCAL_MACHINE, QStringLiteral("K"), QStringLiteral("B"),
                                      value));
        QCOMPARE(value, QStringLiteral("as passed"));
    }

    void decode_string_cuts_the_terminator()
    {
        QByteArray buffer(1024, '\0');
        const QByteArray text = QStringLiteral("C:\\WINDOWS\\msinfo32.exe").toUtf8();
        buffer.replace(0, text.size(), text);
        QString value;
        about::DecodeKeyValue(about::REG_SZ, buffer, quint32(text.size() + 1), value);
        QCOMPARE(value, QStringLiteral("C:\\WINDOWS\\msinfo32.exe"));
        // Without a terminator inside the size, nothing more is cut.
        about::DecodeKeyValue(about::REG_SZ, buffer, quint32(text.size()), value);
        QCOMPARE(value, QStringLiteral("C:\\WINDOWS\\msinfo32.exe"));
        about::DecodeKeyValue(about::REG_SZ, buffer, 5, value);
        QCOMPARE(value, QStringLiteral("C:\\WI"));
    }

    void decode_number_reads_bytes_unpadded_last_to_first_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("expected");
        // 261 stored little-endian: the last zero goes as a terminator, then 00 01 05 read
        // last to first give the digits 0, 1, 5 and hexadecimal 015 is 21.
        QTest::newRow("05 01 00 00") << QByteArray("\x05\x01\x00\x00", 4) << QStringLiteral("21");
        QTest::newRow("0A 00 00 00") << QByteArray("\x0A\x00\x00\x00", 4) << QStringLiteral("10");
        QTest::newRow("FF 00 00 01") << QByteArray("\xFF\x00\x00\x01", 4) << QStringLiteral("65791");
        QTest::newRow("34 12") << QByteArray("\x34\x12", 2) << QStringLiteral("4660");
        QTest::newRow("FF FF") << QByteArray("\xFF\xFF", 2) << QStringLiteral("-1");
        QTest::newRow("78 56 34 92") << QByteArray("\x78\x56\x34\x92", 4) << QStringLiteral("-1842063752");
    }
    void decode_number_reads_bytes_unpadded_last_to_first()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, expected);
        QByteArray buffer(1024, '\0');
        buffer.replace(0, bytes.size(), bytes);
        QString value = QStringLiteral("before");
        about::DecodeKeyValue(about::REG_DWORD, buffer, quint32(bytes.size()), value);
        QCOMPARE(value, expected);
    }

    void decode_other_types_leave_the_value()
    {
        QString value = QStringLiteral("unchanged");
        about::DecodeKeyValue(3, QByteArray("\x01\x02\x00", 3), 3, value);
        QCOMPARE(value, QStringLiteral("unchanged"));
        about::DecodeKeyValue(7, QByteArray("a\0b\0\0", 5), 5, value);
        QCOMPARE(value, QStringLiteral("unchanged"));
    }

    void linux_registry_answers_from_the_path()
    {
        QTemporaryDir bin;
        auto makeProgram = [&](const QString& name) {
            QFile f(bin.filePath(name));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("#!/bin/sh\n");
            f.close();
            QVERIFY(f.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        };
        makeProgram(QStringLiteral("kinfocenter"));
        makeProgram(QStringLiteral("gnome-system-monitor"));
        const QByteArray oldPath = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(bin.path()));
        about::SetRegistry(std::make_unique<about::LinuxRegistry>());

        QString value;
        QVERIFY(frmAbout::GetKeyValue(about::HKEY_LOCAL_MACHINE, kSysInfoKey, QStringLiteral("PATH"), value));
        QCOMPARE(value, bin.filePath(QStringLiteral("gnome-system-monitor")));  // the earlier candidate wins
        QVERIFY(!frmAbout::GetKeyValue(about::HKEY_LOCAL_MACHINE, kSysInfoLocKey, QStringLiteral("MSINFO"),
                                       value));

        {
            MsgBoxRecorder messages;
            frmAbout box;
            box.StartSysInfo();
            QCOMPARE(started, QStringList{bin.filePath(QStringLiteral("gnome-system-monitor"))});
            QVERIFY(messages.Texts().isEmpty());
        }

        // With no candidate on the PATH, both lookups fail and the message appears.
        QTemporaryDir empty;
        qputenv("PATH", QFile::encodeName(empty.path()));
        started.clear();
        {
            MsgBoxRecorder messages;
            QVERIFY(!frmAbout::GetKeyValue(about::HKEY_LOCAL_MACHINE, kSysInfoKey, QStringLiteral("PATH"),
                                           value));
            frmAbout box;
            box.StartSysInfo();
            QVERIFY(started.isEmpty());
            QCOMPARE(messages.Texts(), QStringList{kUnavailable});
        }
        qputenv("PATH", oldPath);
    }
};

QTEST_MAIN(tst_about_box)
#include "tst_about_box.moc"
