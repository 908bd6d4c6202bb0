#pragma once

// What every test shares: a temporary program folder with a fresh catalogue, recorders that
// answer message boxes and file dialogs, direct reads of the database (through SQLite itself,
// not through the program's data layer), and helpers that drive windows by objectName.

#include <QAbstractButton>
#include <QComboBox>
#include <QLineEdit>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>
#include <QVariant>
#include <functional>
#include <memory>

#include "core/ui/MsgBox.h"

namespace testsupport {

// A program folder for one test: House.db (fresh, from the schema), Images/ and Music/. The
// program is pointed at it for the life of the object. With TAVRELO_TEST_STORE=server the
// catalogue is instead a fresh database on the test server (see PgCluster.h), named in the
// folder's Tavrelo.conf, and the direct reads below go to it.
class ProgramFolder {
public:
    explicit ProgramFolder(bool withDatabase = true);
    ~ProgramFolder();

    QString Path() const;
    QString DatabasePath() const;
    QString File(const QString& relative) const { return Path() + QLatin1Char('/') + relative; }

    // Direct access to the catalogue through SQLite's C API (or libpq for a server).
    bool Exec(const QString& sql) const;
    QList<QVariantList> Rows(const QString& sql) const;
    QVariant Value(const QString& sql) const;  // first column of the first row

    // The server URI of this folder's catalogue; empty for House.db.
    QString ServerUri() const { return serverUri_; }
    // Takes the catalogue out of reach (the file moved away, or the folder pointed at a database
    // that does not exist) and brings it back.
    bool HideDatabase() const;
    bool RestoreDatabase() const;
    // The last key a table's key counter handed out, and setting it (the next key is one more).
    QVariant LastKey(const QString& table) const;
    bool SetLastKey(const QString& table, qint64 key) const;

private:
    bool writeServerSetting(const QString& uri) const;

    QTemporaryDir dir_;
    QString serverUri_;
};

// Records every message box and answers it: from the queue of answers if one is left, else with
// the default (Yes for questions).
class MsgBoxRecorder {
public:
    MsgBoxRecorder();
    ~MsgBoxRecorder();
    QList<QPair<QString, ui::Buttons>> messages;
    QList<ui::Answer> answers;
    ui::Answer defaultAnswer = ui::Answer::Yes;
    QStringList Texts() const;
    void Clear() { messages.clear(); }
};

// Answers the open-file dialog with the paths queued (one each time); "" when none is left.
class FileDialogStub {
public:
    FileDialogStub();
    ~FileDialogStub();
    QStringList paths;
    QStringList filters;  // the filter of every call
};

// Finds a named control below root (the root itself counts); fails the test when missing.
template <typename T>
T* Find(QObject* root, const QString& name)
{
    if (root && root->objectName() == name) {
        if (auto* self = qobject_cast<T*>(root)) return self;
    }
    T* found = root ? root->findChild<T*>(name) : nullptr;
    if (!found) qWarning("control %s not found", qPrintable(name));
    return found;
}

// Clicks a named button with the mouse; returns false when there is no such enabled button.
bool Click(QObject* root, const QString& name);
// Replaces the text of a named text box or combo box by typing it.
bool Type(QObject* root, const QString& name, const QString& text);

// Writes a mono 16-bit PCM WAV file of a sine tone and returns its path.
QString MakeWav(const QString& path, int milliseconds, int frequency = 440);

// Writes a small valid picture of the given size (PNG, or by the extension) and returns its path.
QString MakePicture(const QString& path, int width, int height, Qt::GlobalColor color = Qt::darkCyan);

}  // namespace testsupport
