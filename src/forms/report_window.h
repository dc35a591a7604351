#pragma once
// TForm3, "Вывод сообщений": the indexing report. Three pages of lines filled while a job runs (the
// files indexed, the errors and stopped files, the files indexed before), their counts in the status
// bar, the menu "Сообщения" → "Очистить", an information text and the help video (clip 5). A modeless
// window; closing it keeps its lines. Main thread only.

#include <QWidget>

class QLabel;
class QMenuBar;
class QPlainTextEdit;
class QTabWidget;
class QTimer;

namespace tembrix {

class HelpVideoPanel;

class TForm3 : public QWidget {
    Q_OBJECT
public:
    // The pages, in the order of the scheduler's report lists.
    enum Page { kSuccessPage = 0, kErrorPage = 1, kAlreadyPage = 2 };

    TForm3(const QString& programDir, QWidget* parent = nullptr);

    // Appends a line to the page (0 … 2; other values are ignored).
    void AppendLine(int page, const QString& line);
    // "Очистить" (N2Click): empties all three pages.
    void N2Click();
    // Sets the three status panels to the line counts ("Успешно обработаны: N", …).
    void Timer1Timer();

    // The text of a page, one line per entry.
    QString PageText(int page) const;
    QString StatusText(int panel) const;
    QTabWidget* Pages() const { return m_pages; }
    HelpVideoPanel* VideoPanel() const { return m_video; }

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    QTabWidget* m_pages = nullptr;
    QPlainTextEdit* m_memos[3] = {};
    int m_counts[3] = {};
    QLabel* m_status[3] = {};
    QTimer* m_timer1 = nullptr;
    HelpVideoPanel* m_video = nullptr;
    QWidget* m_info = nullptr;  // the information panel
};

}  // namespace tembrix
