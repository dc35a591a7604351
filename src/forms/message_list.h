#pragma once
// MessageList: the read-only list of message lines of the check and import windows ("Memo1"). It takes
// lines in batches and stays quick with millions of them: one row per line in a model, uniform row
// heights (no layout of the whole text), and a column as wide as the longest line so far. Lines can
// be selected and copied (Ctrl+C). Follows the end while it is scrolled to the end. Main thread only.

#include <QTreeView>

namespace tembrix {

class MessageListModel;

class MessageList : public QTreeView {
    Q_OBJECT
public:
    explicit MessageList(QWidget* parent = nullptr);

    // Appends `lines` in order, as one change of the list.
    void AppendLines(const QStringList& lines);
    void Clear();
    // Number of lines.
    int Count() const;
    // Every line, joined with '\n' ("" when empty).
    QString Text() const;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    MessageListModel* m_model;
    qsizetype m_longest = 0;  // characters of the longest line so far
};

}  // namespace tembrix
