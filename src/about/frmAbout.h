#pragma once

#include "about/Registry.h"
#include "core/ui/Form.h"

class QFrame;
class QLabel;
class QPushButton;

// The About box: the program's title and version, a few neutral lines about the program, an
// address that opens with the desktop's default handler, and a button that starts the system's
// information program.
class frmAbout : public ui::Form {
    Q_OBJECT
public:
    frmAbout();

    void Load() override;

    // Starts the system information program, or says that there is none.
    void StartSysInfo();
    // Reads one registry value into keyVal; true when it was read.
    static bool GetKeyValue(about::RegistryHandle KeyRoot, const QString& KeyName, const QString& SubKeyRef,
                            QString& KeyVal);

    // "版本 " followed by major.minor.revision, each in plain decimal.
    static QString VersionText(int major, int minor, int revision);
    // The address behind Label1.
    static QString Address();

    QLabel* picIcon;
    QLabel* lblTitle;
    QLabel* lblVersion;
    QLabel* lblDescription;
    QLabel* Label1;
    QLabel* Label2;
    QLabel* Label3;
    QLabel* Label4;
    QFrame* Line1;
    QPushButton* cmdOK;
    QPushButton* cmdSysInfo;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setupControls();
};
