#pragma once

#include <QList>
#include <QPointer>
#include <QSize>
#include <QString>
#include <QVariant>
#include <QWidget>
#include <functional>

class QWebEngineView;
class QWebEnginePage;

namespace ui {

// The browser control (WebImage): a Chromium view that only ever shows local files. Scripts given
// to it run in the order they were given, in the loaded document. A page script's window.open('')
// opens a real top-level browser window whose document the script may write; remote addresses
// are refused, in the page and in every window it opens.
class WebBrowser : public QWidget {
    Q_OBJECT
public:
    explicit WebBrowser(QWidget* parent = nullptr);
    ~WebBrowser() override;

    // The file name of the location shown ("Image.htm"), or the whole address of anything that is
    // not a local file ("" for a browser that has shown nothing yet).
    QString LocationName() const;
    // Shows a local file given by its full path. Loading completes later (DocumentComplete).
    void Navigate(const QString& path);
    bool IsLoaded() const { return loaded_; }
    // True from the moment the page's process ended (crashed, killed, or never started) until the
    // next Navigate, which starts a new page. Meanwhile the control shows an empty area.
    bool PageProcessEnded() const { return pageEnded_; }

    // Runs a script in the current document, after every script given before it. Errors stay
    // inside the page.
    void RunScript(const QString& script);
    void RunScript(const QString& script, const std::function<void(const QVariant&)>& result);
    // A script that depends on the size of the page's client area. The page learns of a new size
    // a moment after the control was resized, so such a script runs now and once more when the
    // page has taken on the control's current size.
    void RunLayoutScript(const QString& script);
    // Runs a script and waits for its value (tests and tools; the windows never wait).
    QVariant Evaluate(const QString& script, int timeoutMs = 30000);
    static QVariant Evaluate(QWebEnginePage* page, const QString& script, int timeoutMs = 30000);

    QWebEngineView* View() const { return view_; }
    // The windows that page scripts have opened and that are still open.
    QList<QWebEngineView*> Popups() const;

    // A script literal for any text: double-quoted, with everything a script string needs escaped.
    static QString ScriptString(const QString& text);

signals:
    void DocumentComplete(bool ok);
    void PopupOpened(QWebEngineView* window);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    friend class BrowserPage;
    void pageResized(const QSize& size);
    void attachNewPage();
    void pageProcessEnded(int status, int exitCode);
    QWebEngineView* openPopup();

    QWebEngineView* view_ = nullptr;
    QPointer<QWebEnginePage> page_;
    QString location_;
    bool loaded_ = false;
    bool pageEnded_ = false;
    QString pendingLayoutScript_;
    QList<QPointer<QWebEngineView>> popups_;
};

}  // namespace ui
