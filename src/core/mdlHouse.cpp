#include "core/mdlHouse.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextEdit>

#include "core/db/Connection.h"
#include "core/db/Convert.h"
#include "core/db/ServerLogin.h"
#include "core/db/Store.h"
#include "core/ui/MsgBox.h"

namespace mdlHouse {

qint32 CurrentHouseID = 0;
qint32 MusicOff = 0;

QString DatabasePath()
{
    return ProgramPath(QStringLiteral("/House.db"));
}

QString DatabaseFailureMessage()
{
    return QStringLiteral("数据库连接失败。") + QStringLiteral("\r\n") +
           QStringLiteral("无法连接到系统数据库，请确认没有更改或删除系统文件。") + QStringLiteral("\r\n") +
           QStringLiteral("(重新安装应用程序可以解决这个问题。)");
}

void OpenDatabase(db::Connection& connection)
{
    if (db::OpenCatalogue(connection, ProgramFolder())) return;
    // A password in the settings is refused before anything is sent; the person is told where
    // passwords belong rather than that the catalogue is gone.
    if (db::UriHasPassword(db::ServerUri(ProgramFolder())))
        ui::MsgBox(db::PasswordInUriMessage());
    else
        ui::MsgBox(DatabaseFailureMessage());
}

void CreateMediaFolders()
{
    CurrentHouseID = 0;
    MusicOff = 0;
    QDir().mkdir(ProgramPath(QStringLiteral("/Images")));
    QDir().mkdir(ProgramPath(QStringLiteral("/Music")));
}

QString ControlText(const QWidget* control)
{
    if (auto* e = qobject_cast<const QLineEdit*>(control)) return e->text();
    if (auto* c = qobject_cast<const QComboBox*>(control)) return c->currentText();
    if (auto* p = qobject_cast<const QPlainTextEdit*>(control)) return p->toPlainText();
    if (auto* t = qobject_cast<const QTextEdit*>(control)) return t->toPlainText();
    return control ? control->property("text").toString() : QString();
}

bool RequireValue(QWidget* control, const QString& fieldName)
{
    if (ControlText(control).isEmpty()) {
        ui::MsgBox(QStringLiteral("请在\"") + fieldName + QStringLiteral("\"中输入值。"));
        if (control) control->setFocus();
        return false;
    }
    return true;
}

bool CheckNumberRange(QWidget* control, const QString& fieldName, qint32 minimum, qint32 maximum)
{
    const QString text = ControlText(control);
    if (text.isEmpty()) return true;
    if (!db::IsNumeric(text)) {
        ui::MsgBox(QStringLiteral("\"") + fieldName + QStringLiteral("\"只能输入数字。"));
        if (control) control->setFocus();
        return false;
    }
    qint32 value = 0;
    // A number too large for 32 bits cannot be within any range: it gets the range message.
    if (!db::ToLong(text, &value) || value < minimum || value > maximum) {
        ui::MsgBox(QStringLiteral("\"") + fieldName + QStringLiteral("\"只能输入 ") +
                   QString::number(minimum) + QStringLiteral(" 到 ") + QString::number(maximum) +
                   QStringLiteral(" 之间的数值。"));
        if (control) control->setFocus();
        return false;
    }
    return true;
}

}  // namespace mdlHouse
