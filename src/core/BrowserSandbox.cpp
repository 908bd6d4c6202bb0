#include "core/BrowserSandbox.h"

#include <unistd.h>

#include <QByteArray>
#include <QList>
#include <cstdio>

namespace browsersandbox {

bool PrepareForUserId(unsigned effectiveUserId, const QString& programName, QString* notice)
{
    if (notice) notice->clear();
    if (effectiveUserId != 0) return false;
    // Already switched off by whoever started us (a parent of ours that said so already, or the
    // user on purpose): nothing to change and nothing to say.
    const bool alreadyOff = !qEnvironmentVariableIsEmpty("QTWEBENGINE_DISABLE_SANDBOX") &&
                            qgetenv("QTWEBENGINE_DISABLE_SANDBOX") != "0";
    qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    // Some engine versions look only at the switch list, so the switch goes there as well.
    QByteArray flags = qgetenv("QTWEBENGINE_CHROMIUM_FLAGS");
    if (!flags.split(' ').contains("--no-sandbox")) {
        if (!flags.isEmpty()) flags += ' ';
        flags += "--no-sandbox";
        qputenv("QTWEBENGINE_CHROMIUM_FLAGS", flags);
    }
    if (notice && !alreadyOff)
        *notice = programName + QStringLiteral(
                                    ": running as root, so the picture browser starts without its sandbox "
                                    "(Chromium will not start one for root); running as a normal user is "
                                    "safer.");
    return true;
}

bool PrepareForUser(const char* programName)
{
    QString notice;
    const bool off = PrepareForUserId(unsigned(::geteuid()), QString::fromLocal8Bit(programName), &notice);
    if (!notice.isEmpty()) {
        std::fprintf(stderr, "%s\n", notice.toLocal8Bit().constData());
        std::fflush(stderr);
    }
    return off;
}

}  // namespace browsersandbox
