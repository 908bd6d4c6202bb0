#pragma once

// What the kill tests share: the save worker they start and kill, and the list of everything that
// is wrong with a catalogue the worker saved into. Every house the worker saves says in its Intro
// how many attribute rows and pictures it has ("rows=N pictures=M"), and every template row says
// how many rows its template has ("of N"), so a half-finished save shows as a mismatch.
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QStringList>

#include "TestSupport.h"

namespace killtest {

inline QString WorkerPath()
{
    return QString::fromLocal8Bit(qgetenv("TAVRELO_BINARY_DIR")) + QStringLiteral("/tests/save_worker");
}

// The worker draws offscreen; its browser control runs without Chromium's sandbox, which refuses
// to start as root.
inline QProcessEnvironment WorkerEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("QTWEBENGINE_DISABLE_SANDBOX"), QStringLiteral("1"));
    return environment;
}

// The three types the worker saves houses under, moves and deletes among.
inline bool AddTypes(const testsupport::ProgramFolder& folder)
{
    return folder.Exec(
        QStringLiteral("INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) VALUES "
                       "(1, '公寓', '', ''), (2, '别墅', '', ''), (3, '商铺', '', '')"));
}

// Everything that is wrong with the catalogue now; empty when it is sound.
inline QStringList Faults(const testsupport::ProgramFolder& folder)
{
    QStringList found;
    const bool server = !folder.ServerUri().isEmpty();
    if (!server) {
        const QString integrity = folder.Value(QStringLiteral("PRAGMA integrity_check")).toString();
        if (integrity != QLatin1String("ok")) found << QStringLiteral("integrity_check: ") + integrity;
    }
    const qint64 orphanRows =
        folder
            .Value(QStringLiteral(
                "SELECT count(*) FROM t_Content WHERE HouseID NOT IN (SELECT HouseID FROM t_House)"))
            .toLongLong();
    if (orphanRows) found << QStringLiteral("%1 attribute rows without their house").arg(orphanRows);
    const qint64 orphanPictures =
        folder
            .Value(QStringLiteral(
                "SELECT count(*) FROM t_Image WHERE HouseID NOT IN (SELECT HouseID FROM t_House)"))
            .toLongLong();
    if (orphanPictures) found << QStringLiteral("%1 picture rows without their house").arg(orphanPictures);
    if (server) {
        // On a server the picture itself is stored before its row is committed: a row whose file
        // the server does not hold would be a picture no other PC can show.
        const qint64 missing =
            folder
                .Value(
                    QStringLiteral("SELECT count(*) FROM t_Image i WHERE NOT EXISTS (SELECT 1 FROM t_File f "
                                   "WHERE f.Folder = 'Images' AND f.Name = i.ImageFile)"))
                .toLongLong();
        if (missing) found << QStringLiteral("%1 picture rows whose file is not on the server").arg(missing);
    }

    static const QRegularExpression described(QStringLiteral("^rows=(\\d+) pictures=(\\d+)$"));
    const auto houses = folder.Rows(QStringLiteral(
        "SELECT h.HouseID, h.Intro, (SELECT count(*) FROM t_Content c WHERE c.HouseID = h.HouseID), "
        "(SELECT count(*) FROM t_Image i WHERE i.HouseID = h.HouseID) FROM t_House h"));
    for (const QVariantList& h : houses) {
        const QRegularExpressionMatch m = described.match(h[1].toString());
        if (!m.hasMatch() || m.captured(1).toLongLong() != h[2].toLongLong() ||
            m.captured(2).toLongLong() != h[3].toLongLong())
            found << QStringLiteral("house %1 says '%2' but has %3 rows and %4 pictures")
                         .arg(h[0].toString(), h[1].toString(), h[2].toString(), h[3].toString());
    }

    const auto templates = folder.Rows(QStringLiteral(
        "SELECT TypeID, count(*), min(Content), max(Content) FROM t_Content_Auto GROUP BY TypeID"));
    for (const QVariantList& t : templates) {
        const QString whole = QStringLiteral("of ") + t[1].toString();
        if (t[2].toString() != whole || t[3].toString() != whole)
            found << QStringLiteral("template of type %1 has %2 rows that say '%3'..'%4'")
                         .arg(t[0].toString(), t[1].toString(), t[2].toString(), t[3].toString());
    }

    const auto positions = folder.Rows(QStringLiteral("SELECT List FROM t_HouseType ORDER BY List"));
    for (int i = 0; i < positions.size(); ++i) {
        if (positions[i][0].toLongLong() != i + 1) {
            QStringList all;
            for (const QVariantList& p : positions) all << p[0].toString();
            found << QStringLiteral("type positions are %1").arg(all.join(QLatin1Char(',')));
            break;
        }
    }
    return found;
}

}  // namespace killtest
