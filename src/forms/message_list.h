#pragma once
// MessageList: the read-only list of message lines of the check and import windows ("Memo1"). It takes
// lines in batches and stays quick with millions of them: one row per line in a model, uniform row
// heights (no layout of the whole text), and a column as wide as the longest line so far. Lines are
// shown at once after a quiet spell; lines that arrive in quick succession are shown together, at most
// kShowDelayMs after they came, since each insertion costs the view a pass over all its rows. Lines can be
// selected and copied (Ctrl+C). Follows the end while it is scrolled to the end. Main thread only.

#include <QElapsedTimer>
#include <QStringList>
#include <QTimer>
#include <QTreeView>

namespace tembrix {

class MessageListModel;

class MessageList : public QTreeView {
    Q_OBJECT
public:
    explicit MessageList(QWidget* parent = nullptr);

    // Appends `lines` in order; they are shown within kShowDelayMs.
    void AppendLines(const QStringList& lines);
    void Clear();
    // Number of lines, shown or about to be.
    int Count() const;
    // Number of lines shown.
    int Shown() const;
    // Every line, joined with '\n' ("" when empty).
    QString Text() const;

    static constexpr int kShowDelayMs = 40;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    // Shows the lines that have come since the last time, as one change of the list.
    void ShowPending();

    MessageListModel* m_model;
    QStringList m_pending;      // appended, not yet shown
    QTimer m_showTimer;         // single shot: ShowPending
    QElapsedTimer m_lastShown;  // since lines were last shown
    qsizetype m_longest = 0;    // characters of the longest line so far
};

}  // namespace tembrix
