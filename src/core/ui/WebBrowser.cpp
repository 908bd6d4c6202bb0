#include "core/ui/WebBrowser.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFileInfo>
#include <QResizeEvent>
#include <QTimer>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>
#include <QWebEngineSettings>
#include <QWebEngineUrlRequestInfo>
#include <QWebEngineUrlRequestInterceptor>
#include <QWebEngineView>
#include <cstdio>

#include "core/ui/Trace.h"

namespace ui {

namespace {

// The page announces every change of its client size in a console line that the control reads.
const QString kViewportNotice = QStringLiteral("\x01tavrelo-viewport ");

bool isLocalScheme(const QString& scheme)
{
    return scheme == QLatin1String("file") || scheme == QLatin1String("about") ||
           scheme == QLatin1String("data") || scheme == QLatin1String("blob") ||
           scheme == QLatin1String("qrc");
}

// Nothing outside this machine is ever fetched: not by the page, not by a picture, not by a
// window a page opens.
class LocalOnlyInterceptor : public QWebEngineUrlRequestInterceptor {
public:
    using QWebEngineUrlRequestInterceptor::QWebEngineUrlRequestInterceptor;
    void interceptRequest(QWebEngineUrlRequestInfo& info) override
    {
        if (!isLocalScheme(info.requestUrl().scheme())) info.block(true);
    }
};

// One profile for every browser of the program, kept in memory only: the program keeps no
// cookies, cache or history on disk.
QWebEngineProfile* sharedProfile()
{
    static QPointer<QWebEngineProfile> profile;
    if (!profile) {
        profile = new QWebEngineProfile(QCoreApplication::instance());
        profile->setUrlRequestInterceptor(new LocalOnlyInterceptor(profile));
        profile->setHttpCacheType(QWebEngineProfile::MemoryHttpCache);
        QWebEngineSettings* s = profile->settings();
        s->setAttribute(QWebEngineSettings::JavascriptEnabled, true);
        s->setAttribute(QWebEngineSettings::JavascriptCanOpenWindows, true);
        s->setAttribute(QWebEngineSettings::LocalContentCanAccessFileUrls, true);
        s->setAttribute(QWebEngineSettings::LocalContentCanAccessRemoteUrls, false);
        s->setAttribute(QWebEngineSettings::PluginsEnabled, false);
        s->setAttribute(QWebEngineSettings::ErrorPageEnabled, false);

        // Chromium drops the old "cursor: hand" of the picture's style; a user of the page still
        // expects the pointing hand over a picture that opens something when clicked.
        QWebEngineScript cursor;
        cursor.setName(QStringLiteral("tavrelo-hand-cursor"));
        cursor.setInjectionPoint(QWebEngineScript::DocumentReady);
        cursor.setWorldId(QWebEngineScript::ApplicationWorld);
        cursor.setRunsOnSubFrames(false);
        cursor.setSourceCode(
            QStringLiteral("(function(){var s=document.createElement('style');"
                           "s.textContent='#ImageShow[onclick]{cursor:pointer}';"
                           "(document.head||document.documentElement).appendChild(s);})();"));
        profile->scripts()->insert(cursor);

        QWebEngineScript watch;
        watch.setName(QStringLiteral("tavrelo-viewport"));
        watch.setInjectionPoint(QWebEngineScript::DocumentCreation);
        watch.setWorldId(QWebEngineScript::ApplicationWorld);
        watch.setRunsOnSubFrames(false);
        watch.setSourceCode(
            QStringLiteral("window.addEventListener('resize',function(){console.log('\\x01tavrelo-viewport '+"
                           "window.innerWidth+' '+window.innerHeight);});"));
        profile->scripts()->insert(watch);
    }
    return profile;
}

}  // namespace

class BrowserPage : public QWebEnginePage {
public:
    BrowserPage(WebBrowser* owner, QObject* parent) : QWebEnginePage(sharedProfile(), parent), owner_(owner)
    {
    }

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType, bool) override
    {
        return isLocalScheme(url.scheme());
    }
    QWebEnginePage* createWindow(WebWindowType) override
    {
        if (!owner_) return nullptr;
        QWebEngineView* window = owner_->openPopup();
        return window ? window->page() : nullptr;
    }
    void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel, const QString& message, int,
                                  const QString&) override
    {
        if (!owner_ || !message.startsWith(kViewportNotice)) return;
        const QStringList parts = message.mid(kViewportNotice.size()).split(QLatin1Char(' '));
        if (parts.size() == 2) owner_->pageResized(QSize(parts[0].toInt(), parts[1].toInt()));
    }

private:
    QPointer<WebBrowser> owner_;
};

WebBrowser::WebBrowser(QWidget* parent) : QWidget(parent)
{
    qRegisterMetaType<QWebEngineView*>();
    view_ = new QWebEngineView(this);
    view_->setObjectName(QStringLiteral("view"));
    attachNewPage();
    view_->setContextMenuPolicy(Qt::NoContextMenu);
    view_->setGeometry(rect());
    connect(view_, &QWebEngineView::loadStarted, this, [this]() { loaded_ = false; });
    connect(view_, &QWebEngineView::loadFinished, this, [this](bool ok) {
        loaded_ = true;
        Trace(QStringLiteral("page loaded %1 %2 %3")
                  .arg(objectName(), location_, ok ? QStringLiteral("ok") : QStringLiteral("failed")));
        emit DocumentComplete(ok);
    });
    connect(view_, &QWebEngineView::urlChanged, this, [this](const QUrl& url) {
        if (!url.isEmpty())
            location_ = url.isLocalFile() ? QFileInfo(url.toLocalFile()).fileName() : url.toString();
    });
}

void WebBrowser::attachNewPage()
{
    // Only a page of ours is ever replaced: asking the view for its page before the first one is
    // set would make it build (and later delete) a default page of its own.
    QWebEnginePage* old = page_;
    auto* page = new BrowserPage(this, view_);
    connect(page, &QWebEnginePage::renderProcessTerminated, this,
            [this, page](QWebEnginePage::RenderProcessTerminationStatus status, int exitCode) {
                if (page_ == page) pageProcessEnded(int(status), exitCode);
            });
    page_ = page;
    view_->setPage(page);
    if (old) old->deleteLater();
}

void WebBrowser::pageProcessEnded(int status, int exitCode)
{
    // The picture area goes empty and the program carries on; the next page shown starts afresh.
    std::fprintf(stderr,
                 "tavrelo: the picture page's process ended (status %d, code %d); the picture "
                 "area stays empty until the next page is shown\n",
                 status, exitCode);
    std::fflush(stderr);
    pageEnded_ = true;
    loaded_ = false;
    location_.clear();
    pendingLayoutScript_.clear();
    view_->hide();
    Trace(QStringLiteral("page process ended %1").arg(objectName()));
}

WebBrowser::~WebBrowser()
{
    for (const auto& popup : popups_) {
        if (popup) popup->close();
    }
}

QString WebBrowser::LocationName() const
{
    return location_;
}

void WebBrowser::Navigate(const QString& path)
{
    const QUrl url = QUrl::fromLocalFile(path);
    if (pageEnded_) {
        pageEnded_ = false;
        attachNewPage();
        view_->show();
    }
    location_ = QFileInfo(path).fileName();
    loaded_ = false;
    view_->setUrl(url);
}

void WebBrowser::RunScript(const QString& script)
{
    view_->page()->runJavaScript(script);
}

void WebBrowser::RunScript(const QString& script, const std::function<void(const QVariant&)>& result)
{
    view_->page()->runJavaScript(script, result);
}

void WebBrowser::RunLayoutScript(const QString& script)
{
    RunScript(script);
    pendingLayoutScript_ = script;
    // Ask the page for its size: when it already matches, nothing more is due. The control's own
    // size counts: a hidden control takes on a new size only when it is shown again.
    QPointer<WebBrowser> self(this);
    RunScript(QStringLiteral("[window.innerWidth, window.innerHeight]"), [self](const QVariant& v) {
        const QVariantList size = v.toList();
        if (self && size.size() == 2 && QSize(size[0].toInt(), size[1].toInt()) == self->size())
            self->pendingLayoutScript_.clear();
    });
}

void WebBrowser::pageResized(const QSize& size)
{
    if (pendingLayoutScript_.isEmpty()) return;
    RunScript(pendingLayoutScript_);
    if (size == this->size()) pendingLayoutScript_.clear();
}

QVariant WebBrowser::Evaluate(const QString& script, int timeoutMs)
{
    return Evaluate(view_->page(), script, timeoutMs);
}

QVariant WebBrowser::Evaluate(QWebEnginePage* page, const QString& script, int timeoutMs)
{
    QVariant value;
    if (!page) return value;
    QEventLoop loop;
    bool done = false;
    QPointer<QEventLoop> loopGuard(&loop);
    auto flag = std::make_shared<bool>(false);
    page->runJavaScript(script, [&value, &done, loopGuard, flag](const QVariant& v) {
        if (*flag) return;
        value = v;
        done = true;
        if (loopGuard) loopGuard->quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    if (!done) loop.exec();
    *flag = true;  // a late answer must not write into this finished call's locals
    return value;
}

QList<QWebEngineView*> WebBrowser::Popups() const
{
    QList<QWebEngineView*> open;
    for (const auto& popup : popups_) {
        if (popup) open << popup.data();
    }
    return open;
}

QWebEngineView* WebBrowser::openPopup()
{
    auto* window = new QWebEngineView();
    window->setObjectName(QStringLiteral("ImagePopup"));
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setPage(new BrowserPage(nullptr, window));
    window->setContextMenuPolicy(Qt::NoContextMenu);
    connect(window, &QWebEngineView::titleChanged, window, &QWidget::setWindowTitle);
    window->resize(800, 600);
    window->show();
    popups_ << window;
    emit PopupOpened(window);
    return window;
}

QString WebBrowser::ScriptString(const QString& text)
{
    QString out;
    out.reserve(text.size() + 8);
    out += QLatin1Char('"');
    for (const QChar c : text) {
        switch (c.unicode()) {
            case '\\':
                out += QLatin1String("\\\\");
                break;
            case '"':
                out += QLatin1String("\\\"");
                break;
            case '\n':
                out += QLatin1String("\\n");
                break;
            case '\r':
                out += QLatin1String("\\r");
                break;
            case '\t':
                out += QLatin1String("\\t");
                break;
            case 0x2028:
                out += QLatin1String("\\u2028");
                break;
            case 0x2029:
                out += QLatin1String("\\u2029");
                break;
            default:
                if (c.unicode() < 0x20) {
                    out += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
                } else {
                    out += c;
                }
        }
    }
    out += QLatin1Char('"');
    return out;
}

void WebBrowser::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    view_->setGeometry(rect());
}

}  // namespace ui
