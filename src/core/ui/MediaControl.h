#pragma once

#include <QString>
#include <QWidget>

class QAudioOutput;
class QMediaPlayer;

namespace ui {

// The media control (MMC1): set FileName, then give the commands "Open", "Play" and "Close" (and
// "Stop"), the way the original multimedia control was driven. Done(notifyCode) reports how a
// "Play" ended: 1 when playback reached the end of the file (the only code that means "finished"),
// 4 when a "Close" or "Stop" cut it short. A missing, empty or unreadable file is silent: "Open"
// fails quietly and "Play" then does nothing. The control itself is invisible.
class MediaControl : public QWidget {
    Q_OBJECT
public:
    explicit MediaControl(QWidget* parent = nullptr);
    ~MediaControl() override;

    QString FileName() const { return fileName_; }
    void SetFileName(const QString& fileName) { fileName_ = fileName; }
    void SetCommand(const QString& command);

    bool IsOpen() const { return open_; }
    bool IsPlaying() const { return playing_; }
    // How many times playback reached the end of a file; for tests and the benchmark.
    int EndsReached() const { return endsReached_; }

signals:
    void Done(int notifyCode);

private:
    void open();
    void play();
    void close(int notifyCode);
    void ensurePlayer();

    QString fileName_;
    QMediaPlayer* player_ = nullptr;
    QAudioOutput* audio_ = nullptr;
    bool open_ = false;
    bool playing_ = false;
    int endsReached_ = 0;
    quint64 generation_ = 0;  // playbacks started; a stale end notice from an older one is dropped
};

}  // namespace ui
