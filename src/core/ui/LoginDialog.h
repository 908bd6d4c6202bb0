#pragma once

#include <QDialog>

#include "core/db/ServerLogin.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace ui {

// Asks for the user name and password of a shared catalogue whose server wants a password that
// libpq found nowhere on this PC. The user name last used is offered again (kept in the user's own
// settings); the password is never written anywhere.
class LoginDialog : public QDialog {
public:
    explicit LoginDialog(const db::LoginRequest& request, QWidget* parent = nullptr);

    QString User() const;
    QString Password() const;

    // Makes the data layer ask through this dialog (on the program's main thread).
    static void Install();
    // The user name offered when the connection URI names none; empty before the first login.
    static QString RememberedUser();

private:
    void setupControls(const db::LoginRequest& request);

    QLabel* lblServer = nullptr;
    QLabel* lblError = nullptr;
    QLineEdit* txtUser = nullptr;
    QLineEdit* txtPassword = nullptr;
    QPushButton* cmdLogin = nullptr;
    QPushButton* cmdCancel = nullptr;
};

}  // namespace ui
