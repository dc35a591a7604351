#include "forms/wrapped_text_fit.h"

#include <QLabel>
#include <QLayout>
#include <QWidget>

namespace tembrix {

void ClaimWrappedHeight(QWidget* panel) {
    QLayout* layout = panel->layout();
    if (layout == nullptr) {
        return;
    }
    panel->ensurePolished();
    const QMargins margins = layout->contentsMargins();
    const int estimate = panel->contentsRect().width() - margins.left() - margins.right();
    for (QLabel* label : panel->findChildren<QLabel*>(QString(), Qt::FindDirectChildrenOnly)) {
        label->ensurePolished();
        if (!label->wordWrap()) {
            label->setMinimumHeight(label->sizeHint().height());
            continue;
        }
        // Laid out, the label's own width counts (style-sheet paddings included); before, the estimate.
        const int width = label->isVisible() && label->width() > 50 ? label->width() : estimate;
        label->setMinimumHeight(label->heightForWidth(width));
    }
    panel->setMinimumHeight(layout->totalHeightForWidth(panel->width()));
}

}  // namespace tembrix
