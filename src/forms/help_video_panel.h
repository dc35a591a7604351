#pragma once
// HelpVideoPanel: the help video of a window. It shows the clip's still picture; a click plays the clip
// inside the panel or pauses it, a double click restarts it from the beginning. Only one clip plays in
// the whole program: starting one stops and unloads every other (StopAll). The clip is
// <programDir>/content/N.mpg; the still picture is set by the main window at start-up (SetCover or
// LoadCovers). The multimedia player is created on the first click only, so a window whose clip is never
// started never touches the multimedia backend. Main thread only.

#include <QImage>
#include <QPixmap>
#include <QString>
#include <QWidget>
#include <memory>
#include <vector>

#include "forms/help_clip_player.h"

namespace tembrix {

class HelpVideoPanel : public QWidget {
    Q_OBJECT
public:
    // `clipNumber`: N of content/N.mpg and N.jpg; `programDir`: the program's folder.
    HelpVideoPanel(int clipNumber, const QString& programDir, QWidget* parent = nullptr);
    ~HelpVideoPanel() override;

    // The clip's full path: programDir + "/content/N.mpg".
    QString ClipPath() const;
    // The file name the player holds ("" when no clip is loaded).
    QString PlayerFileName() const { return m_fileName; }
    // The player's mode (NotOpen before the first click and after an unload).
    HelpClipPlayer::Mode Mode() const;
    // True while the still picture is shown instead of the video.
    bool IsCoverShown() const { return m_coverShown; }

    // The still picture shown while no clip plays.
    void SetCover(const QPixmap& cover);

    // A click: hides the picture; pauses a playing clip, resumes a paused or stopped one, and loads and
    // starts it the first time (log line "MediaPlayer N.mpg", every other clip stopped first). A missing
    // file shows its path; a player that cannot be initialised shows "Ошибка инициализации: " + path.
    void PanelVideoClick();
    // A double click: a stopped or paused clip restarts from the beginning.
    void PanelVideoDblClick();
    // The window closes: a loaded clip is stopped and unloaded, and the picture shown again.
    void CloseClip();

    // Stops every help video of the program, in the order the panels were created: a playing one is
    // stopped; then one that is stopped, paused or was never opened is unloaded and shows its picture.
    static void StopAll();
    // Loads <programDir>/content/N.jpg into every panel with clip N, and remembers the pictures for panels
    // created later. Pictures that do not load are skipped.
    static void LoadCovers(const QString& programDir, const QList<int>& clipNumbers);
    // Replaces the way players are made (tests); an empty factory restores the multimedia player.
    // Returns the previous factory.
    static HelpClipPlayerFactory SetPlayerFactory(HelpClipPlayerFactory factory);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    // The panel keeps the proportion of its picture (4:3, the clips' own, before one is set).
    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    // Stops, unloads and shows the picture again (also for a player that was never opened).
    void Unload();
    void ShowInitError();

    int m_clipNumber;
    QString m_programDir;
    QString m_fileName;
    QPixmap m_cover;
    QImage m_frame;
    bool m_coverShown = true;
    std::unique_ptr<HelpClipPlayer> m_player;
};

}  // namespace tembrix
