#pragma once
// TAboutBox, "О программе": product name, version, maker, the maker's web address (opened in the
// browser on a click) and a picture of nine images that follows the mouse pointer. Main thread only.

#include <QDialog>
#include <QPixmap>
#include <QPoint>
#include <QRect>
#include <array>

class QLabel;
class QTimer;

namespace tembrix {

// Which of the nine about-box images shows for a pointer at `pointer` (screen coordinates) when the
// reference image occupies `reference` (screen coordinates, left/top inclusive, left + width and
// top + height exclusive). 0 up-left, 1 up, 2 up-right, 3 left, 4 centre, 5 right, 6 down-left,
// 7 down, 8 down-right: row (above, level, below) × 3 + column (left, inside, right).
int AboutImageIndex(QPoint pointer, const QRect& reference);

// The nine image files in `programDir`/content, in the order of AboutImageIndex: about1.jpg … about9.jpg.
QString AboutImagePath(const QString& programDir, int index);

class TAboutBox : public QDialog {
    Q_OBJECT
public:
    explicit TAboutBox(QWidget* parent = nullptr);

    // Every 100 ms: shows the image that looks towards the pointer.
    void Timer1Timer();
    // Opens the maker's web page in the default browser.
    void CommentsClick();

    // The image now shown (AboutImageIndex), -1 before the first tick.
    int VisibleImage() const { return m_visible; }
    // The picture's label, the reference rectangle of the nine images.
    QLabel* Image1() const { return m_image; }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ShowImage(int index);

    std::array<QPixmap, 9> m_images;
    QLabel* m_image = nullptr;
    QLabel* m_comments = nullptr;
    QTimer* m_timer1 = nullptr;
    int m_visible = -1;
};

}  // namespace tembrix
