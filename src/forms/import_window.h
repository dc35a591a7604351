#pragma once
// TForm8, "Импорт базы данных": copies the rows of another index database into the main one through
// the import worker, after checks and a confirmation, and shows its lines and progress. Modal dialog
// opened by the main window. Main thread only.
//
// States: idle → running (Начать импорт) → stopping (Стоп) → clean-up (the worker's summary arms a
// 100 ms timer that disconnects the source and deletes the worker) → idle. The window closes only when
// no worker exists.

#include <QDialog>
#include <memory>

class QLineEdit;
class QProgressBar;
class QPushButton;
class QRadioButton;
class QTimer;

namespace tembrix {

class HelpVideoPanel;
class MessageList;
class ImportDatabase;
class TDataModule1;
class TDataModule2;

class TForm8 : public QDialog {
    Q_OBJECT
public:
    // `store` (the main database) and `source` (the import source) must outlive the window.
    TForm8(TDataModule1& store, TDataModule2& source, QWidget* parent = nullptr);
    // A running import is stopped and waited for.
    ~TForm8() override;

    // Clears the messages and the path, shows "Начать импорт" and "Выход", hides "Стоп" and the bar,
    // and resets the conflict policy to keeping the old records.
    void FormShow();
    // "Выбрать": the file chooser; the chosen file goes into Edit1.
    void BitBtn1Click();
    // "Начать импорт": main database connected, file exists, source connects, the user confirms; then
    // the worker starts. Each refusal shows its message and starts nothing.
    void BitBtn3Click();
    // "Стоп": asks the worker to stop.
    void BitBtn4Click();
    // "Выход".
    void BitBtn2Click();
    // Every 500 ms: the worker's progress.
    void Timer1Timer();
    // Run at the end of the worker's summary: arms Timer2 for the clean-up.
    void FinishExecute();
    // Once, 100 ms after the end: disconnects the source, deletes the worker, buttons back to idle.
    void Timer2Timer();
    // True when no import worker exists; otherwise false after "Дождитесь окончания импорта или
    // остановите его!".
    bool FormCloseQuery();

    // The current worker (null when idle).
    ImportDatabase* Worker() const { return m_worker.get(); }

    // The controls, for the tests and the screenshots.
    QLineEdit* Edit1() const { return m_edit1; }
    QRadioButton* RadioButton1() const { return m_keep; }
    QRadioButton* RadioButton2() const { return m_replace; }
    MessageList* Memo1() const { return m_memo1; }
    QProgressBar* ProgressBar1() const { return m_progress; }
    QPushButton* BitBtn1() const { return m_choose; }
    QPushButton* BitBtn2() const { return m_exit; }
    QPushButton* BitBtn3() const { return m_start; }
    QPushButton* BitBtn4() const { return m_stop; }
    QTimer* Timer2() const { return m_timer2; }
    HelpVideoPanel* VideoPanel() const { return m_video; }

public Q_SLOTS:
    void done(int result) override;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void ShowIdleButtons();

    TDataModule1& m_store;
    TDataModule2& m_source;
    std::unique_ptr<ImportDatabase> m_worker;
    bool m_destroying = false;

    QLineEdit* m_edit1 = nullptr;
    QPushButton* m_choose = nullptr;
    QRadioButton* m_keep = nullptr;
    QRadioButton* m_replace = nullptr;
    MessageList* m_memo1 = nullptr;
    QProgressBar* m_progress = nullptr;
    QPushButton* m_start = nullptr;
    QPushButton* m_stop = nullptr;
    QPushButton* m_exit = nullptr;
    QTimer* m_timer1 = nullptr;
    QTimer* m_timer2 = nullptr;
    HelpVideoPanel* m_video = nullptr;
};

}  // namespace tembrix
