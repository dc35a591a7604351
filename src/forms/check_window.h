#pragma once
// TForm7, "Поиск ошибок в базе данных": starts and stops the database check worker with five options,
// shows its report lines, its progress and the number of lines. Modal dialog opened by the main window.
// Main thread only; the worker reaches the window through calls it runs on the main thread.
//
// States: idle → running (Старт) → idle (the worker's finish, also after Стоп). The index pass follows
// "Проверять значения индексов" alone: the window sets both index options from that box and never reads
// "Проверять размеры индексов".

#include <QDialog>
#include <memory>

class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QTimer;

namespace tembrix {

class CheckDatabase;
class HelpVideoPanel;
class MessageList;
class TDataModule1;

class TForm7 : public QDialog {
    Q_OBJECT
public:
    // `store` must outlive the window.
    explicit TForm7(TDataModule1& store, QWidget* parent = nullptr);
    // A running check is stopped and waited for.
    ~TForm7() override;

    // Clears the messages, hides the progress bar, shows "Старт" and "Закрыть", hides "Стоп".
    void FormShow();
    // "Старт": refused with "Проверка уже начата!" while a check runs.
    void BitBtn1Click();
    // "Стоп": refused with "Проверка ещё не запущена!" when none runs; otherwise stops the worker and
    // waits for it.
    void BitBtn2Click();
    // "Закрыть".
    void BitBtn3Click();
    // Each second: the progress while a check runs, and the number of messages (shown also whenever
    // the list is cleared and at the finish).
    void Timer1Timer();
    // Run by the worker at its end: "Проверка закончена!", buttons back to idle.
    void FinishExecute();
    // False (after "Дождитесь окончания проверки или остановите её!") while a check runs.
    bool FormCloseQuery();

    bool CheckRunning() const { return m_running; }
    // The current worker (null before the first start and after a stop).
    CheckDatabase* Worker() const { return m_worker.get(); }

    // The controls, for the tests and the screenshots.
    QCheckBox* CheckBox(int n) const;  // CheckBox1 … CheckBox5
    QPushButton* BitBtn1() const { return m_start; }
    QPushButton* BitBtn2() const { return m_stop; }
    QPushButton* BitBtn3() const { return m_close; }
    MessageList* Memo1() const { return m_memo1; }
    QProgressBar* ProgressBar1() const { return m_progress; }
    QLabel* StatusPanel0() const { return m_status0; }
    QTimer* Timer1() const { return m_timer1; }
    HelpVideoPanel* VideoPanel() const { return m_video; }

    // Lines in Memo1 (0 when it is empty).
    int MessageCount() const;

public Q_SLOTS:
    void done(int result) override;

protected:
    void showEvent(QShowEvent* event) override;

private:
    // Status panel 0: "Количество сообщений: " and the number of lines.
    void ShowMessageCount();

    TDataModule1& m_store;
    std::unique_ptr<CheckDatabase> m_worker;
    bool m_running = false;
    bool m_destroying = false;

    QCheckBox* m_checkBoxes[5] = {};
    QPushButton* m_start = nullptr;
    QPushButton* m_stop = nullptr;
    QPushButton* m_close = nullptr;
    MessageList* m_memo1 = nullptr;
    QProgressBar* m_progress = nullptr;
    QLabel* m_status0 = nullptr;
    QTimer* m_timer1 = nullptr;
    HelpVideoPanel* m_video = nullptr;
};

}  // namespace tembrix
