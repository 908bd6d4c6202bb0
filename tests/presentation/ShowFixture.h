#pragma once

// What the presentation tests share: an MDI frame holding the window, a catalogue with known
// houses, small music files of every kind the window plays, and reads of the live picture page.

#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QTest>
#include <memory>

#include "MdiFrame.h"
#include "Seed.h"
#include "TestSupport.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/MediaControl.h"
#include "core/ui/Twips.h"
#include "core/ui/WebBrowser.h"
#include "presentation/frmHouseShow.h"

namespace showtest {

class Frame : public testsupport::MdiFrame {
public:
    Frame() : MdiFrame(1360, 880)
    {
        Forms::Register(QStringLiteral("frmHouseShow"), [] { return new frmHouseShow; });
    }
    // Opens the presentation the way the catalogue does: unload, set the house, show anew.
    frmHouseShow* Open(qint32 houseId)
    {
        mdlHouse::CurrentHouseID = houseId;
        Forms::Unload(QStringLiteral("frmHouseShow"));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return qobject_cast<frmHouseShow*>(Forms::Show(QStringLiteral("frmHouseShow")));
    }
};

// What every presentation test starts from and drops again: a fresh program folder, message
// boxes answered and recorded, and the frame. A test class inherits it and calls Start in init()
// and Stop in cleanup().
class Session {
protected:
    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    std::unique_ptr<Frame> frame;

    // musicOff: 1 keeps the tunes quiet for tests that are not about them.
    void Start(int musicOff)
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        messages = std::make_unique<testsupport::MsgBoxRecorder>();
        frame = std::make_unique<Frame>();
        mdlHouse::MusicOff = musicOff;
    }
    void Stop()
    {
        frame.reset();
        messages.reset();
        folder.reset();
        mdlHouse::MusicOff = 0;
    }
};

inline void AddType(const testsupport::ProgramFolder& f, int typeId, const QString& name,
                    const QString& music)
{
    testsupport::AddType(f, typeId, typeId, name, QStringLiteral("t"), music);
}

inline void AddHouse(const testsupport::ProgramFolder& f, qint64 id, const QString& name, const QString& no,
                     int floor, int typeId, const QString& intro = QStringLiteral("intro"))
{
    testsupport::AddHouse(f, id, name, no, floor, typeId, intro);
}

inline void AddRows(const testsupport::ProgramFolder& f, qint64 houseId, int count)
{
    QString sql;
    for (int i = 1; i <= count; ++i)
        sql += QStringLiteral(
                   "Insert Into t_Content (HouseID, Caption, Content, List) Values (%1, 'C%2', 'V%2', %2);")
                   .arg(houseId)
                   .arg(i);
    if (!sql.isEmpty()) f.Exec(sql);
}

inline void AddPicture(const testsupport::ProgramFolder& f, qint64 houseId, int list, const QString& caption,
                       const QString& intro, const QString& file)
{
    testsupport::AddPictureRow(f, houseId, list, caption, intro, file);
}

// MPEG-1 Layer III, 128 kbit/s, 44.1 kHz, mono: frames of silence (empty side information), each
// 417 bytes and 1152 samples long.
inline QString WriteMp3(const QString& path, int frames)
{
    QByteArray frame(417, '\0');
    frame[0] = char(0xFF);
    frame[1] = char(0xFB);
    frame[2] = char(0x90);
    frame[3] = char(0xC0);
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly)) return QString();
    for (int i = 0; i < frames; ++i) f.write(frame);
    return path;
}

// A standard MIDI file: one piano note of a quarter (half a second at the default tempo).
inline QString WriteMidi(const QString& path)
{
    const QByteArray track = QByteArray::fromHex(
        "00C000"
        "00903C64"
        "60803C40"
        "00FF2F00");
    QByteArray midi = QByteArray::fromHex(
        "4D546864"
        "00000006"
        "0000"
        "0001"
        "0060");
    midi.append("MTrk");
    const quint32 n = track.size();
    midi.append(char(n >> 24)).append(char(n >> 16)).append(char(n >> 8)).append(char(n));
    midi.append(track);
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly)) return QString();
    f.write(midi);
    return path;
}

inline QVariant Js(frmHouseShow* w, const QString& script)
{
    return w->WebImage->Evaluate(script);
}

inline QString ImageSize(frmHouseShow* w)
{
    return Js(w, "var i=document.getElementById('ImageShow'); i ? i.width + 'x' + i.height : ''").toString();
}

inline QString BodySize(frmHouseShow* w)
{
    return Js(w, "document.body ? document.body.clientWidth + 'x' + document.body.clientHeight : ''")
        .toString();
}

}  // namespace showtest
