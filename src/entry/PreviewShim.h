#pragma once

// TEMPORARY: the picture page and browser control are being built alongside this window. Until
// they are in the tree, a blank stand-in keeps the wizard building; the preview then shows nothing.
#if __has_include("core/ImagePage.h")
#include "core/ImagePage.h"
#include "core/ui/WebBrowser.h"
#else
#include <QWidget>
namespace ui {
class WebBrowser : public QWidget {
public:
    explicit WebBrowser(QWidget* parent = nullptr) : QWidget(parent) {}
};
}  // namespace ui
namespace mdlHouse {
inline void InitImagePage(ui::WebBrowser*) {}
inline void ShowImage(ui::WebBrowser*, qint16, const QString&, const QString&, const QString&) {}
}  // namespace mdlHouse
#endif
