// Short plucked-string tunes on the pentatonic scale, one per house type, written as plain
// 16-bit PCM WAV files: every player the program can use reads them, and no sample is shipped.
#include <QFile>
#include <QtEndian>
#include <cmath>
#include <vector>

#include "DemoData.h"

namespace demo {

namespace {

constexpr int kRate = 22050;

struct Note {
    int midi;     // 0 = rest
    int eighths;  // length in eighth notes
};

const std::vector<Note>& MelodyOf(int type)
{
    // Three small phrases in the gong mode (C D E G A), different in mood: bright, calm, wide.
    static const std::vector<Note> morning = {{72, 1}, {74, 1}, {76, 2}, {79, 1}, {76, 1}, {74, 2},
                                              {72, 1}, {74, 1}, {76, 1}, {79, 1}, {81, 2}, {79, 4}};
    static const std::vector<Note> courtyard = {{67, 2}, {69, 1}, {72, 1}, {74, 2}, {72, 2}, {69, 1},
                                                {67, 1}, {64, 2}, {67, 2}, {62, 2}, {64, 4}};
    static const std::vector<Note> hills = {{60, 2}, {67, 2}, {69, 1}, {67, 1}, {64, 2}, {62, 2},
                                            {60, 1}, {62, 1}, {64, 2}, {67, 2}, {60, 4}};
    return type == 0 ? morning : (type == 1 ? courtyard : hills);
}

void PutLE32(QByteArray& out, quint32 v)
{
    char b[4];
    qToLittleEndian(v, b);
    out.append(b, 4);
}

void PutLE16(QByteArray& out, quint16 v)
{
    char b[2];
    qToLittleEndian(v, b);
    out.append(b, 2);
}

}  // namespace

bool WriteTune(int typeIndex, const QString& path)
{
    const double eighth = typeIndex == 0 ? 0.18 : (typeIndex == 1 ? 0.22 : 0.26);  // seconds
    std::vector<double> samples;
    for (const Note& note : MelodyOf(typeIndex)) {
        const int length = int(note.eighths * eighth * kRate);
        const double f = 440.0 * std::pow(2.0, (note.midi - 69) / 12.0);
        for (int i = 0; i < length; ++i) {
            const double t = double(i) / kRate;
            // A pluck: quick attack, exponential decay, a little of the octave and the fifth above.
            const double envelope = std::min(1.0, t / 0.005) * std::exp(-3.5 * t);
            const double tone = std::sin(2 * M_PI * f * t) + 0.35 * std::sin(4 * M_PI * f * t) +
                                0.12 * std::sin(6 * M_PI * f * t);
            samples.push_back(note.midi ? 0.45 * envelope * tone : 0.0);
        }
    }
    // Let the last note ring out and fade to silence so a loop does not click.
    const int tail = kRate / 2;
    for (int i = 0; i < tail; ++i) samples.push_back(0.0);
    const int fade = kRate / 20;
    for (int i = 0; i < fade && i < int(samples.size()); ++i)
        samples[samples.size() - 1 - size_t(i)] *= double(i) / fade;

    QByteArray data;
    data.reserve(int(samples.size() * 2));
    for (double s : samples) {
        const double clipped = std::max(-1.0, std::min(1.0, s));
        PutLE16(data, quint16(qint16(std::lround(clipped * 32000))));
    }

    QByteArray wav;
    wav.append("RIFF", 4);
    PutLE32(wav, quint32(36 + data.size()));
    wav.append("WAVE", 4);
    wav.append("fmt ", 4);
    PutLE32(wav, 16);         // PCM format chunk size
    PutLE16(wav, 1);          // PCM
    PutLE16(wav, 1);          // mono
    PutLE32(wav, kRate);      // sample rate
    PutLE32(wav, kRate * 2);  // byte rate
    PutLE16(wav, 2);          // block align
    PutLE16(wav, 16);         // bits per sample
    wav.append("data", 4);
    PutLE32(wav, quint32(data.size()));
    wav.append(data);

    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return false;
    return file.write(wav) == wav.size() && file.flush();
}

}  // namespace demo
