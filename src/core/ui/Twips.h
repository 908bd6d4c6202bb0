#pragma once

#include <QString>
#include <QWidget>
#include <QtGlobal>
#include <type_traits>
#include <utility>

namespace ui {

// Layout rules are given in twips. At 96 dpi logical there are 15 twips to a pixel; Qt scales
// logical pixels for high-dpi screens, so this one factor holds everywhere.
constexpr int kTwipsPerPixel = 15;
inline int Px(int twips)
{
    return qRound(twips / double(kTwipsPerPixel));
}
inline int Twips(int px)
{
    return px * kTwipsPerPixel;
}

// Places a control by a rectangle given in twips.
inline void PlaceTwips(QWidget* control, int left, int top, int width, int height)
{
    control->setGeometry(Px(left), Px(top), Px(width), Px(height));
}

template <typename T, typename = void>
struct HasSetText : std::false_type {
};
template <typename T>
struct HasSetText<T, std::void_t<decltype(std::declval<T&>().setText(QString()))>> : std::true_type {
};

// Makes a named control; a control with a text property (label, button, text box) also gets its
// caption. For windows whose layout places the control.
template <typename T>
T* MakeNamed(QWidget* parent, const char* name, const QString& text = QString())
{
    auto* control = new T(parent);
    control->setObjectName(QLatin1String(name));
    if constexpr (HasSetText<T>::value) {
        if (!text.isNull()) control->setText(text);
    }
    return control;
}

// The same, placed by a rectangle in twips.
template <typename T>
T* MakeControl(QWidget* parent, const char* name, int left, int top, int width, int height,
               const QString& text = QString())
{
    T* control = MakeNamed<T>(parent, name, text);
    PlaceTwips(control, left, top, width, height);
    return control;
}

}  // namespace ui
