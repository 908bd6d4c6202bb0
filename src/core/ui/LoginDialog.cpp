#include "core/ui/LoginDialog.h"

#include <QApplication>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QThread>
#include <QVBoxLayout>

#include "core/Program.h"

namespace ui {

namespace {

const char* const kUserKey = "catalogue/user";

QSettings userSettings()
{
    return QSettings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Tavrelo"),
                     QStringLiteral("Tavrelo"));
}

bool askOnThisThread(const db::LoginRequest& request, db::LoginAnswer* answer)
{
    LoginDialog dialog(request, QApplication::activeWindow());
    if (dialog.exec() != QDialog::Accepted) return false;
    answer->user = dialog.User();
    answer->password = dialog.Password();
    // Only the name: the next login offers it again.
    userSettings().setValue(QLatin1String(kUserKey), answer->user);
    return true;
}

}  // namespace

LoginDialog::LoginDialog(const db::LoginRequest& request, QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("frmLogin"));
    setWindowTitle(program::kProgramTitle);
    setModal(true);
    setupControls(request);
}

void LoginDialog::setupControls(const db::LoginRequest& request)
{
    lblServer = new QLabel(
        QStringLiteral("登录共享房源库 %1（服务器 %2）").arg(request.database, request.host), this);
    lblServer->setObjectName(QStringLiteral("lblServer"));
    lblServer->setTextFormat(Qt::PlainText);
    lblServer->setWordWrap(true);
    lblError = new QLabel(QStringLiteral("密码错误，请重新输入。"), this);
    lblError->setObjectName(QStringLiteral("lblError"));
    lblError->setStyleSheet(QStringLiteral("color: #b00000;"));
    lblError->setVisible(request.wrongPassword);

    txtUser = new QLineEdit(this);
    txtUser->setObjectName(QStringLiteral("txtUser"));
    txtUser->setMaxLength(63);
    const QString remembered = RememberedUser();
    txtUser->setText(!request.user.isEmpty() ? request.user
                     : !remembered.isEmpty() ? remembered
                                             : request.defaultUser);
    txtPassword = new QLineEdit(this);
    txtPassword->setObjectName(QStringLiteral("txtPassword"));
    txtPassword->setEchoMode(QLineEdit::Password);
    txtPassword->setMaxLength(1000);

    cmdLogin = new QPushButton(QStringLiteral("登录"), this);
    cmdLogin->setObjectName(QStringLiteral("cmdLogin"));
    cmdLogin->setDefault(true);
    cmdCancel = new QPushButton(QStringLiteral("取消"), this);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    connect(cmdLogin, &QPushButton::clicked, this, &QDialog::accept);
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* fields = new QFormLayout;
    fields->addRow(QStringLiteral("用户名"), txtUser);
    fields->addRow(QStringLiteral("密码"), txtPassword);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cmdLogin);
    buttons->addWidget(cmdCancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblServer);
    layout->addWidget(lblError);
    layout->addLayout(fields);
    layout->addLayout(buttons);
    setMinimumWidth(360);
    (txtUser->text().isEmpty() ? txtUser : txtPassword)->setFocus();
}

QString LoginDialog::User() const
{
    return txtUser->text().trimmed();
}

QString LoginDialog::Password() const
{
    return txtPassword->text();
}

QString LoginDialog::RememberedUser()
{
    return userSettings().value(QLatin1String(kUserKey)).toString();
}

void LoginDialog::Install()
{
    db::SetPasswordPrompt([](const db::LoginRequest& request, db::LoginAnswer* answer) {
        QCoreApplication* app = QCoreApplication::instance();
        if (!app) return false;
        if (QThread::currentThread() == app->thread()) return askOnThisThread(request, answer);
        // A connection opened off the main thread still asks through the one dialog.
        bool ok = false;
        QMetaObject::invokeMethod(
            app, [&] { ok = askOnThisThread(request, answer); }, Qt::BlockingQueuedConnection);
        return ok;
    });
}

}  // namespace ui
