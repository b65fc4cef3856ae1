// The device tab widget of the main window: a column of icon tabs down the left side
// and the pages beside it.
#pragma once

#include <QIcon>
#include <QWidget>

class QListWidget;
class QStackedWidget;

class QFancyTabWidget : public QWidget
{
    Q_OBJECT

public:
    explicit QFancyTabWidget(QWidget* parent = nullptr);

    int addTab(QWidget* page, const QIcon& icon, const QString& text);
    void removeTab(int index);
    void setTabText(int index, const QString& text);
    QString tabText(int index) const;
    QIcon tabIcon(int index) const;
    QWidget* widget(int index) const;
    int indexOf(QWidget* page) const;
    int count() const;
    int currentIndex() const;
    // The page on show.
    QWidget* currentWidget() const;
    // Screen rectangle of a tab, in this widget's coordinates (for tests and tool tips).
    QRect tabRect(int index) const;

public slots:
    void setCurrentIndex(int index);

signals:
    void currentChanged(int index);

private:
    // Shows the page of the current tab.
    void showCurrentPage();

    QListWidget* m_tabs;
    QStackedWidget* m_pages;
};
