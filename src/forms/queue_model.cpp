#include "forms/queue_model.h"

#include "app/indexing_queue.h"

namespace tembrix {

QueueModel::QueueModel(const IndexingQueue& queue, QObject* parent)
    : QAbstractTableModel(parent), m_queue(queue), m_shown(queue.Count()) {
    if (m_shown > 0) {
        m_firstPath = m_queue.At(0).path;
    }
}

void QueueModel::Refresh() {
    const qsizetype count = m_queue.Count();
    const QString firstPath = count > 0 ? m_queue.At(0).path : QString();
    if (count > m_shown && m_shown > 0 && firstPath == m_firstPath) {
        // Files were appended (adding never reorders the queue).
        beginInsertRows(QModelIndex(), static_cast<int>(m_shown), static_cast<int>(count - 1));
        m_shown = count;
        endInsertRows();
    } else if (count != m_shown || firstPath != m_firstPath) {
        beginResetModel();
        m_shown = count;
        endResetModel();
    }
    m_firstPath = firstPath;
    // Statuses change in place; the view repaints only what is on screen.
    Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, kColumnCount - 1), {Qt::DisplayRole});
}

int QueueModel::rowCount(const QModelIndex& parent) const {
    if (parent.isValid()) {
        return 0;
    }
    return m_shown == 0 ? 1 : static_cast<int>(m_shown);
}

int QueueModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumnCount;
}

QString QueueModel::CellText(int row, int column) const {
    if (row < 0 || row >= m_shown || row >= m_queue.Count()) {
        return QString();
    }
    const QueueEntry& entry = m_queue.At(row);
    switch (column) {
        case kNumber:
            return QString::number(row + 1);
        case kStatus:
            return entry.status;
        case kPath:
            return entry.path;
        case kName:
            return entry.name;
        case kType:
            return entry.type;
        case kSize:
            return QString::number(entry.size);
        case kCreated:
            return entry.created;
        default:
            return QString();
    }
}

QVariant QueueModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid()) {
        return {};
    }
    if (role == Qt::DisplayRole) {
        return CellText(index.row(), index.column());
    }
    if (role == Qt::TextAlignmentRole) {
        if (index.column() == kNumber || index.column() == kSize) {
            return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
        }
        return QVariant::fromValue(Qt::AlignLeft | Qt::AlignVCenter);
    }
    if (role == Qt::ToolTipRole && index.column() == kPath) {
        return CellText(index.row(), kPath);
    }
    return {};
}

QVariant QueueModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return QAbstractTableModel::headerData(section, orientation, role);
    }
    static const char* const kHeaders[kColumnCount] = {
        "", "Статус", "Путь к файлу", "Имя файла", "Тип", "Размер", "Дата создания",
    };
    if (section < 0 || section >= kColumnCount) {
        return {};
    }
    return QString::fromUtf8(kHeaders[section]);
}

}  // namespace tembrix
