#pragma once
// QueueModel: the indexing queue as the main window's grid. Seven columns: the row number (under an
// empty header), then "Статус", "Путь к файлу", "Имя файла", "Тип", "Размер" (plain bytes) and
// "Дата создания". An empty queue still shows one empty row. The model reads the queue on demand and
// holds no copy, so a refresh costs the same for a hundred thousand entries as for ten: only the rows
// on screen are ever asked for. Main thread only.

#include <QAbstractTableModel>

namespace tembrix {

class IndexingQueue;

class QueueModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { kNumber = 0, kStatus, kPath, kName, kType, kSize, kCreated, kColumnCount };

    // `queue` must outlive the model.
    explicit QueueModel(const IndexingQueue& queue, QObject* parent = nullptr);

    // Brings the grid up to the queue (UpdateListExecute). When the queue only grew at its end, the new
    // rows are inserted and selection and scrolling stay; when entries were removed the model is reset.
    // Statuses changed in place repaint the visible rows only.
    void Refresh();
    // The rows the view knows of (the queue's count at the last refresh; 1 for an empty queue).
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    // The text of a cell as the grid shows it ("" for the empty row and outside the queue).
    QString CellText(int row, int column) const;

private:
    const IndexingQueue& m_queue;
    qsizetype m_shown = 0;  // queue entries the view knows of
    QString m_firstPath;    // path of entry 0 at the last refresh, to tell growth from replacement
};

}  // namespace tembrix
