#include "core/ui/MediaControl.h"

#include <QAudioOutput>
#include <QFileInfo>
#include <QMediaPlayer>
#include <QTimer>
#include <QUrl>

#include "core/Program.h"
#include "core/db/ServerFiles.h"

namespace ui {

namespace {
constexpr int kNotifySuccessful = 1;
constexpr int kNotifyAborted = 4;
}  // namespace

MediaControl::MediaControl(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("MMC1"));
    hide();
}

MediaControl::~MediaControl()
{
    if (player_) player_->stop();
}

void MediaControl::ensurePlayer()
{
    if (player_) return;
    player_ = new QMediaPlayer(this);
    audio_ = new QAudioOutput(this);
    player_->setAudioOutput(audio_);
    connect(player_, &QMediaPlayer::mediaStatusChanged, this, [this](QMediaPlayer::MediaStatus status) {
        if (status != QMediaPlayer::EndOfMedia || !playing_) return;
        playing_ = false;
        ++endsReached_;
        const quint64 ended = generation_;
        // Reported from the event loop, not from inside the player's own signal, so that the
        // handler may close and start the tune again at once.
        QTimer::singleShot(0, this, [this, ended] {
            if (ended == generation_) emit Done(kNotifySuccessful);
        });
    });
    connect(player_, &QMediaPlayer::errorOccurred, this, [this](QMediaPlayer::Error, const QString&) {
        // An unreadable file ends silently: no message, no completion notice.
        playing_ = false;
    });
}

void MediaControl::SetCommand(const QString& command)
{
    if (command.compare(QLatin1String("Open"), Qt::CaseInsensitive) == 0) {
        // A tune of a shared catalogue may not have reached this PC's Music folder yet.
        db::FillMediaCache(program::ProgramFolder(), fileName_);
        open();
    } else if (command.compare(QLatin1String("Play"), Qt::CaseInsensitive) == 0) {
        play();
    } else if (command.compare(QLatin1String("Close"), Qt::CaseInsensitive) == 0 ||
               command.compare(QLatin1String("Stop"), Qt::CaseInsensitive) == 0) {
        close(kNotifyAborted);
    }
}

void MediaControl::open()
{
    close(kNotifyAborted);
    const QFileInfo info(fileName_);
    if (!info.isFile() || info.size() == 0) return;
    ensurePlayer();
    player_->setSource(QUrl::fromLocalFile(info.absoluteFilePath()));
    open_ = true;
}

void MediaControl::play()
{
    if (!open_ || !player_) return;
    ++generation_;
    playing_ = true;
    player_->setPosition(0);
    player_->play();
}

void MediaControl::close(int notifyCode)
{
    const bool wasPlaying = playing_;
    playing_ = false;
    ++generation_;
    if (player_) {
        player_->stop();
        player_->setSource(QUrl());
    }
    open_ = false;
    if (wasPlaying) emit Done(notifyCode);
}

}  // namespace ui
