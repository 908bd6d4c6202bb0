#include "TestSupport.h"

#include <libpq-fe.h>
#include <sqlite3.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QSettings>
#include <cmath>

#include "PgCluster.h"
#include "core/db/Connection.h"
#include "core/db/PgSession.h"
#include "core/db/TextCollation.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"

namespace testsupport {

ProgramFolder::ProgramFolder(bool withDatabase)
{
    dir_.setAutoRemove(true);
    QDir(dir_.path()).mkdir(QStringLiteral("Images"));
    QDir(dir_.path()).mkdir(QStringLiteral("Music"));
    if (withDatabase && ServerMode()) {
        serverUri_ = PgCluster::Instance().CreateDatabase();
        if (!writeServerSetting(serverUri_)) qFatal("cannot write Tavrelo.conf");
    } else if (withDatabase) {
        QString error;
        if (!db::CreateEmptyDatabase(DatabasePath(), &error))
            qFatal("cannot make House.db: %s", qPrintable(error));
    }
    mdlHouse::SetProgramFolder(dir_.path());
}

ProgramFolder::~ProgramFolder()
{
    mdlHouse::SetProgramFolder(QString());
    if (!serverUri_.isEmpty()) PgCluster::Instance().DropDatabase(serverUri_);
}

bool ProgramFolder::writeServerSetting(const QString& uri) const
{
    QSettings settings(File(QStringLiteral("Tavrelo.conf")), QSettings::IniFormat);
    settings.setValue(QStringLiteral("catalogue/server"), uri);
    settings.sync();
    return settings.status() == QSettings::NoError;
}

bool ProgramFolder::HideDatabase() const
{
    if (serverUri_.isEmpty()) return QFile::rename(DatabasePath(), DatabasePath() + QStringLiteral(".away"));
    QString away = serverUri_;
    away.replace(QStringLiteral(":///"), QStringLiteral(":///away_"));
    return writeServerSetting(away);
}

bool ProgramFolder::RestoreDatabase() const
{
    if (serverUri_.isEmpty()) return QFile::rename(DatabasePath() + QStringLiteral(".away"), DatabasePath());
    return writeServerSetting(serverUri_);
}

QVariant ProgramFolder::LastKey(const QString& table) const
{
    if (serverUri_.isEmpty())
        return Value(QStringLiteral("Select seq From sqlite_sequence Where name = '%1'").arg(table));
    // The same answer as SQLite's: nothing until the counter has handed out a key.
    const QString column = Value(QStringLiteral("Select a.attname From pg_attribute a Where a.attrelid = "
                                                "'%1'::regclass And a.attidentity <> ''")
                                     .arg(table))
                               .toString();
    return Value(QStringLiteral("Select pg_sequence_last_value(pg_get_serial_sequence('%1', '%2')::regclass)")
                     .arg(table, column));
}

bool ProgramFolder::SetLastKey(const QString& table, qint64 key) const
{
    if (serverUri_.isEmpty())
        return Exec(
            QStringLiteral("Update sqlite_sequence Set seq = %1 Where name = '%2'").arg(key).arg(table));
    const QString column = Value(QStringLiteral("Select a.attname From pg_attribute a Where a.attrelid = "
                                                "'%1'::regclass And a.attidentity <> ''")
                                     .arg(table))
                               .toString();
    return Exec(
        QStringLiteral("Select setval(pg_get_serial_sequence('%1', '%2'), %3)").arg(table, column).arg(key));
}

QString ProgramFolder::Path() const
{
    return dir_.path();
}

QString ProgramFolder::DatabasePath() const
{
    return dir_.path() + QStringLiteral("/House.db");
}

namespace {

QList<QVariantList> runSql(const QString& path, const QString& sql, bool* ok)
{
    QList<QVariantList> rows;
    *ok = false;
    sqlite3* handle = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &handle, SQLITE_OPEN_READWRITE, nullptr) !=
        SQLITE_OK) {
        sqlite3_close(handle);
        return rows;
    }
    sqlite3_busy_timeout(handle, 2000);
    // The catalogue's text columns use the program's own collation; without it every comparison
    // of a text column would stop with "no such collation sequence".
    db::RegisterTextCollation(handle);
    const QByteArray utf8 = sql.toUtf8();
    const char* tail = utf8.constData();
    *ok = true;
    while (tail && *tail) {
        sqlite3_stmt* stmt = nullptr;
        if (sqlite3_prepare_v2(handle, tail, -1, &stmt, &tail) != SQLITE_OK) {
            qWarning("SQL failed: %s (%s)", sqlite3_errmsg(handle), qPrintable(sql));
            *ok = false;
            break;
        }
        if (!stmt) break;
        int rc;
        while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
            QVariantList row;
            for (int i = 0; i < sqlite3_column_count(stmt); ++i) {
                switch (sqlite3_column_type(stmt, i)) {
                    case SQLITE_NULL:
                        row << QVariant();
                        break;
                    case SQLITE_INTEGER:
                        row << qint64(sqlite3_column_int64(stmt, i));
                        break;
                    case SQLITE_FLOAT:
                        row << sqlite3_column_double(stmt, i);
                        break;
                    default:
                        row << QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(stmt, i)),
                                                 sqlite3_column_bytes(stmt, i));
                }
            }
            rows << row;
        }
        if (rc != SQLITE_DONE) {
            qWarning("SQL failed: %s (%s)", sqlite3_errmsg(handle), qPrintable(sql));
            *ok = false;
        }
        sqlite3_finalize(stmt);
        if (!*ok) break;
    }
    sqlite3_close(handle);
    return rows;
}

// The same reads on the server, through libpq alone: the rows of every statement in the text.
QList<QVariantList> runServerSql(const QString& uri, const QString& sql, bool* ok)
{
    QList<QVariantList> rows;
    PGconn* conn = PQconnectdb(uri.toUtf8().constData());
    *ok = PQstatus(conn) == CONNECTION_OK;
    if (!*ok) {
        qWarning("cannot reach the test server: %s", PQerrorMessage(conn));
        PQfinish(conn);
        return rows;
    }
    PQsendQuery(conn, sql.toUtf8().constData());
    while (PGresult* result = PQgetResult(conn)) {
        const ExecStatusType status = PQresultStatus(result);
        if (status == PGRES_TUPLES_OK) {
            db::PgRows read;
            db::ReadPgResult(result, &read);
            const int width = int(read.names.size());
            for (int r = 0; r < read.rowCount; ++r)
                rows << QVariantList(read.cells.begin() + ptrdiff_t(r) * width,
                                     read.cells.begin() + ptrdiff_t(r + 1) * width);
        } else if (status != PGRES_COMMAND_OK) {
            qWarning("SQL failed: %s (%s)", PQresultErrorMessage(result), qPrintable(sql));
            *ok = false;
        }
        PQclear(result);
    }
    PQfinish(conn);
    return rows;
}

}  // namespace

bool ProgramFolder::Exec(const QString& sql) const
{
    bool ok = false;
    if (!serverUri_.isEmpty())
        runServerSql(serverUri_, sql, &ok);
    else
        runSql(DatabasePath(), sql, &ok);
    return ok;
}

QList<QVariantList> ProgramFolder::Rows(const QString& sql) const
{
    bool ok = false;
    return serverUri_.isEmpty() ? runSql(DatabasePath(), sql, &ok) : runServerSql(serverUri_, sql, &ok);
}

QVariant ProgramFolder::Value(const QString& sql) const
{
    const QList<QVariantList> rows = Rows(sql);
    return rows.isEmpty() || rows.first().isEmpty() ? QVariant() : rows.first().first();
}

MsgBoxRecorder::MsgBoxRecorder()
{
    ui::SetMsgBoxInterceptor([this](const QString& text, ui::Buttons buttons) {
        messages.append({text, buttons});
        if (!answers.isEmpty()) return answers.takeFirst();
        if (buttons == ui::Buttons::OkOnly) return ui::Answer::Ok;
        return defaultAnswer == ui::Answer::Ok ? ui::Answer::Yes : defaultAnswer;
    });
}

MsgBoxRecorder::~MsgBoxRecorder()
{
    ui::SetMsgBoxInterceptor({});
}

QStringList MsgBoxRecorder::Texts() const
{
    QStringList texts;
    for (const auto& m : messages) texts << m.first;
    return texts;
}

FileDialogStub::FileDialogStub()
{
    ui::SetFileDialogInterceptor([this](const QString& filter) {
        filters << filter;
        return paths.isEmpty() ? QString() : paths.takeFirst();
    });
}

FileDialogStub::~FileDialogStub()
{
    ui::SetFileDialogInterceptor({});
}

bool Click(QObject* root, const QString& name)
{
    auto* button = Find<QAbstractButton>(root, name);
    if (!button || !button->isEnabled()) return false;
    if (button->isVisible()) {
        QTest::mouseClick(button, Qt::LeftButton);
    } else {
        button->click();
    }
    return true;
}

bool Type(QObject* root, const QString& name, const QString& text)
{
    QWidget* target = nullptr;
    auto* combo = root ? root->findChild<QComboBox*>(name) : nullptr;
    if (combo) {
        combo->setCurrentIndex(-1);
        combo->setEditText(QString());
        target = combo->lineEdit() ? static_cast<QWidget*>(combo->lineEdit()) : combo;
    } else if (auto* edit = root ? root->findChild<QWidget*>(name) : nullptr) {
        if (auto* line = qobject_cast<QLineEdit*>(edit)) line->clear();
        target = edit;
    }
    if (!target) return false;
    target->setFocus();
    // QTest::keyClicks only knows ASCII keys; any other character (Chinese text) is typed as a
    // key event that carries the character, the way an input method delivers it.
    for (const QChar ch : text) {
        if (ch.unicode() < 128)
            QTest::keyClick(target, ch.toLatin1());
        else
            QTest::sendKeyEvent(QTest::Click, target, Qt::Key_unknown, QString(ch), Qt::NoModifier);
    }
    return true;
}

QString MakeWav(const QString& path, int milliseconds, int frequency)
{
    const int rate = 22050;
    const int samples = rate * milliseconds / 1000;
    QByteArray data;
    data.reserve(samples * 2);
    for (int i = 0; i < samples; ++i) {
        const qint16 v = qint16(8000 * std::sin(2 * M_PI * frequency * i / double(rate)));
        data.append(char(v & 0xff)).append(char((v >> 8) & 0xff));
    }
    QByteArray wav;
    auto u32 = [&wav](quint32 x) {
        for (int i = 0; i < 4; ++i) wav.append(char((x >> (8 * i)) & 0xff));
    };
    auto u16 = [&wav](quint16 x) { wav.append(char(x & 0xff)).append(char(x >> 8)); };
    wav.append("RIFF");
    u32(36 + data.size());
    wav.append("WAVEfmt ");
    u32(16);
    u16(1);  // PCM
    u16(1);  // mono
    u32(rate);
    u32(rate * 2);  // bytes per second
    u16(2);         // block align
    u16(16);        // bits per sample
    wav.append("data");
    u32(data.size());
    wav.append(data);
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly)) return QString();
    f.write(wav);
    return path;
}

QString MakePicture(const QString& path, int width, int height, Qt::GlobalColor color)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(color);
    image.save(path);
    return path;
}

}  // namespace testsupport
