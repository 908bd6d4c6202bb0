#include "core/ui/ControlArray.h"

namespace ui {

void CopyControlLook(const QWidget* from, QWidget* to)
{
    to->setGeometry(from->geometry());
    to->setFont(from->font());
    to->setPalette(from->palette());
    to->setStyleSheet(from->styleSheet());
    to->setAutoFillBackground(from->autoFillBackground());
    to->setEnabled(from->isEnabled());
    to->setToolTip(from->toolTip());
    to->setSizePolicy(from->sizePolicy());
    to->setMinimumSize(from->minimumSize());
    to->setMaximumSize(from->maximumSize());
    if (from->testAttribute(Qt::WA_SetCursor)) to->setCursor(from->cursor());
    // Properties only some controls have (labels, buttons, text boxes): copied where present.
    for (const char* name : {"text", "alignment", "wordWrap", "frameShape", "frameShadow", "flat", "readOnly",
                             "maxLength", "checkable", "textFormat", "margin", "indent"}) {
        const QVariant value = from->property(name);
        if (value.isValid()) to->setProperty(name, value);
    }
}

}  // namespace ui
