#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>
#include <vector>

namespace ui {

// Copies what a run-time element takes over from its design template: place, size, font, look
// and text. Visibility is not copied: a new element starts hidden, and the caller shows it.
void CopyControlLook(const QWidget* from, QWidget* to);

// Repeated rows on screen (attribute rows, picture buttons). Element 0 is the hidden design
// template that the window builds; Load(i) makes element i from it, Unload(i) destroys it.
// Elements are named "<name>(<i>)", e.g. "lblCaption(3)", so tests can find them.
template <typename T>
class ControlArray {
public:
    ControlArray() = default;
    explicit ControlArray(T* templateControl) { SetTemplate(templateControl); }

    void SetTemplate(T* templateControl)
    {
        items_.assign(1, templateControl);
        name_ = templateControl->objectName();
        templateControl->setObjectName(name_ + QStringLiteral("(0)"));
        templateControl->hide();
    }

    // Makes element i (>= 1) as a copy of the template; an existing element is kept as it is.
    T* Load(int i)
    {
        if (i < 1 || items_.empty() || !items_[0]) return nullptr;
        if (i < int(items_.size()) && items_[i]) return items_[i];
        T* element = new T(items_[0]->parentWidget());
        CopyControlLook(items_[0], element);
        element->setObjectName(name_ + QStringLiteral("(") + QString::number(i) + QStringLiteral(")"));
        element->hide();
        if (i >= int(items_.size())) items_.resize(i + 1);
        items_[i] = element;
        return element;
    }

    void Unload(int i)
    {
        if (i < 1 || i >= int(items_.size()) || !items_[i]) return;
        delete items_[i].data();
        items_[i] = nullptr;
        while (items_.size() > 1 && !items_.back()) items_.pop_back();
    }

    // Removes every run-time element, keeping the template.
    void UnloadAll()
    {
        for (int i = int(items_.size()) - 1; i >= 1; --i) Unload(i);
    }

    // The highest loaded index (0 when only the template exists).
    int UBound() const { return items_.empty() ? -1 : int(items_.size()) - 1; }
    T* operator[](int i) const { return i >= 0 && i < int(items_.size()) ? items_[i].data() : nullptr; }
    T* Template() const { return (*this)[0]; }

private:
    QString name_;
    std::vector<QPointer<T>> items_;
};

}  // namespace ui
