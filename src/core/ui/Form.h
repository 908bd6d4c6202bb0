#pragma once

#include <QWidget>

namespace ui {

// A working window of the program. The window registry calls Load() once, after the window has
// been placed in the main frame and before it is first shown; Unload() runs when the window is
// closed — never from the destructor, so that leaving through the menu's exit, which skips every
// unload handler, really skips it.
class Form : public QWidget {
    Q_OBJECT
public:
    explicit Form(QWidget* parent = nullptr);

    virtual void Load() {}
    virtual void Unload() {}

    // The window as the user sees it: the MDI child frame around this form when it has one.
    QWidget* Frame();
    // Outer size in twips, and setting it (the frame is resized when there is one).
    int WidthTwips();
    int HeightTwips();
    void SetSizeTwips(int widthTwips, int heightTwips);
    void SetCaption(const QString& caption);
    // Closes the window the way its own exit button does: the unload handler runs, then it goes.
    void UnloadForm();

signals:
    // Emitted once, right after the unload handler has run.
    void Unloaded();

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    // Called after every change of the window's size (its geometry rules live here).
    virtual void Resized() {}

private:
    bool unloaded_ = false;
};

}  // namespace ui
