#include "forms/message_list.h"

#include <QAbstractListModel>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>
#include <QScrollBar>
#include <algorithm>

namespace tembrix {

// The lines of a MessageList, one row each.
class MessageListModel : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override {
        return parent.isValid() ? 0 : static_cast<int>(m_lines.size());
    }
    QVariant data(const QModelIndex& index, int role) const override {
        if (!index.isValid() || index.row() >= m_lines.size() || role != Qt::DisplayRole) {
            return QVariant();
        }
        return m_lines[index.row()];
    }
    void Append(const QStringList& lines) {
        const int first = static_cast<int>(m_lines.size());
        beginInsertRows(QModelIndex(), first, first + static_cast<int>(lines.size()) - 1);
        m_lines += lines;
        endInsertRows();
    }
    void Clear() {
        beginResetModel();
        m_lines.clear();
        endResetModel();
    }
    const QStringList& Lines() const { return m_lines; }

private:
    QStringList m_lines;
};

MessageList::MessageList(QWidget* parent) : QTreeView(parent), m_model(new MessageListModel(this)) {
    setModel(m_model);
    setHeaderHidden(true);
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    setItemsExpandable(false);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    setTextElideMode(Qt::ElideNone);
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(QHeaderView::Fixed);
    m_showTimer.setSingleShot(true);
    connect(&m_showTimer, &QTimer::timeout, this, &MessageList::ShowPending);
}

void MessageList::AppendLines(const QStringList& lines) {
    if (lines.isEmpty()) {
        return;
    }
    m_pending += lines;
    if (m_showTimer.isActive()) {
        return;
    }
    // Shown at once after a quiet spell; in a flow of lines, at most once per kShowDelayMs.
    const qint64 sinceShown = m_lastShown.isValid() ? m_lastShown.elapsed() : kShowDelayMs;
    if (sinceShown >= kShowDelayMs) {
        ShowPending();
    } else {
        m_showTimer.start(static_cast<int>(kShowDelayMs - sinceShown));
    }
}

void MessageList::ShowPending() {
    if (m_pending.isEmpty()) {
        return;
    }
    QStringList lines;
    lines.swap(m_pending);
    m_lastShown.start();
    QScrollBar* bar = verticalScrollBar();
    const bool atEnd = bar->value() == bar->maximum();
    // The column grows with the longest line; its width is measured only when a longer one comes.
    const QString* longest = nullptr;
    for (const QString& line : lines) {
        if (line.size() > m_longest) {
            m_longest = line.size();
            longest = &line;
        }
    }
    if (longest != nullptr) {
        const int width = fontMetrics().horizontalAdvance(
                              QString(*longest).replace(QLatin1Char(0x09), QStringLiteral("        "))) +
                          16;
        setColumnWidth(0, std::max(columnWidth(0), std::max(width, viewport()->width())));
    }
    m_model->Append(lines);
    if (atEnd) {
        scrollToBottom();
    }
}

void MessageList::Clear() {
    m_pending.clear();
    m_showTimer.stop();
    m_model->Clear();
    m_longest = 0;
    setColumnWidth(0, viewport()->width());
}

int MessageList::Count() const {
    return m_model->rowCount() + static_cast<int>(m_pending.size());
}

int MessageList::Shown() const {
    return m_model->rowCount();
}

QString MessageList::Text() const {
    return (m_model->Lines() + m_pending).join(u'\n');
}

void MessageList::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy)) {
        QModelIndexList rows = selectionModel()->selectedRows();
        std::sort(rows.begin(), rows.end());
        QStringList lines;
        for (const QModelIndex& row : rows) {
            lines.append(m_model->Lines().at(row.row()));
        }
        QApplication::clipboard()->setText(lines.join(u'\n'));
        return;
    }
    QTreeView::keyPressEvent(event);
}

}  // namespace tembrix
