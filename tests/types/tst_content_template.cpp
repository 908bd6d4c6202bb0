#include <QTest>

#include "TypeTestFixture.h"
#include "types/TypeSql.h"

using namespace typetest;
using testsupport::Click;

class tst_content_template : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> boxes;
    qint64 t1 = 0, t2 = 0;

    void addTemplateRow(qint64 typeId, const QString& caption, const QString& content)
    {
        folder->Exec(QString("Insert Into t_Content_Auto (TypeID, Caption, Content) Values (%1, '%2', '%3')")
                         .arg(typeId)
                         .arg(caption, content));
    }
    // "Caption=Content" of a type's template rows in ContentID order.
    QStringList stored(qint64 typeId)
    {
        QStringList rows;
        const QString sql =
            "Select Caption, Content From t_Content_Auto Where TypeID = %1 Order By ContentID";
        for (const QVariantList& r : folder->Rows(sql.arg(typeId)))
            rows << r[0].toString() + "=" + r[1].toString();
        return rows;
    }
    QStringList listed(frmContent* c)
    {
        QStringList rows;
        for (int r = 0; r < c->lsvContent->Model()->Count(); ++r)
            rows << c->lsvContent->Model()->Text(r, 0) + "=" + c->lsvContent->Model()->Text(r, 1);
        return rows;
    }
    // Opens the template of the type at a list row through the type window, as the user does.
    frmContent* openTemplate(int row)
    {
        frmHouseType* types = qobject_cast<frmHouseType*>(Forms::Find("frmHouseType"));
        if (!types) types = OpenTypes();
        ClickRow(types->lsvType, row);
        if (!Click(types, "cmdContent")) return nullptr;
        auto* c = qobject_cast<frmContent*>(Forms::Find("frmContent"));
        if (c && !QTest::qWaitForWindowActive(c)) qWarning("frmContent did not become active");
        return c;
    }
    bool contentOpen() { return Forms::Find("frmContent") != nullptr; }

private slots:
    void initTestCase() { RegisterWindows(); }
    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        boxes = std::make_unique<testsupport::MsgBoxRecorder>();
        SeedTypes(*folder, 2);
        t1 = TypeIdOf(*folder, "T1");
        t2 = TypeIdOf(*folder, "T2");
    }
    void cleanup()
    {
        CloseAll();
        boxes.reset();
        folder.reset();
    }

    void statements_are_the_given_texts()
    {
        QCOMPARE(TypeSql::TypeIdAt(2), QString("Select TypeID From t_HouseType Where List = 2"));
        QCOMPARE(TypeSql::TemplateOf(5),
                 QString("Select Caption, Content From t_Content_Auto Where TypeID = 5 Order By ContentID"));
        QCOMPARE(TypeSql::DeleteTemplateOf(5), QString("Delete From t_Content_Auto Where TypeID = 5"));
        QCOMPARE(TypeSql::EmptyTemplateRows(),
                 QString("Select * From t_Content_Auto Where ContentID Is Null"));
    }

    void opens_with_the_rows_of_the_type_in_stored_order()
    {
        addTemplateRow(t2, "b", "2");
        addTemplateRow(t1, "x", "9");
        addTemplateRow(t2, "a", "1");
        frmContent* c = openTemplate(1);
        QVERIFY(c);
        QCOMPARE(c->windowTitle(), QString("属性"));
        QCOMPARE(c->lsvContent->Model()->ColumnTitle(0), QString("属性"));
        QCOMPARE(c->lsvContent->Model()->ColumnWidthTwips(1), 2500);
        QCOMPARE(listed(c), QStringList({"b=2", "a=1"}));
        QCOMPARE(c->CurrentTypeID, qint32(t2));
        QVERIFY(!c->txtCaption->isEnabled());
        QVERIFY(!c->cmdEditOK->isEnabled());
        QVERIFY(c->cmdOK->isEnabled() && c->cmdCancel->isEnabled());
    }

    void empty_template_saved_deletes_and_inserts_nothing()
    {
        addTemplateRow(t1, "x", "9");
        const auto before = folder->Rows("Select * From t_Content_Auto Order By ContentID");
        const QVariant sequence = folder->LastKey("t_Content_Auto");
        QVERIFY(sequence.isValid());
        frmContent* c = openTemplate(1);
        QVERIFY(c);
        QCOMPARE(c->lsvContent->Model()->Count(), 0);
        QVERIFY(Click(c, "cmdOK"));
        QVERIFY(!contentOpen());
        QCOMPARE(folder->Rows("Select * From t_Content_Auto Order By ContentID"), before);
        QCOMPARE(folder->LastKey("t_Content_Auto"), sequence);
    }

    void clear_then_ok_leaves_no_rows()
    {
        addTemplateRow(t2, "a", "1");
        addTemplateRow(t2, "b", "2");
        addTemplateRow(t1, "x", "9");
        frmContent* c = openTemplate(1);
        QVERIFY(Click(c, "cmdClear"));
        QCOMPARE(c->lsvContent->Model()->Count(), 0);
        QVERIFY(boxes->messages.isEmpty());
        QCOMPARE(stored(t2).size(), 2);  // nothing written yet
        QVERIFY(Click(c, "cmdOK"));
        QCOMPARE(stored(t2), QStringList());
        QCOMPARE(stored(t1), QStringList({"x=9"}));
    }

    void clear_then_cancel_keeps_the_stored_template()
    {
        addTemplateRow(t2, "a", "1");
        addTemplateRow(t2, "b", "2");
        const auto before = folder->Rows("Select * From t_Content_Auto Order By ContentID");
        frmContent* c = openTemplate(1);
        QVERIFY(Click(c, "cmdClear"));
        QVERIFY(Click(c, "cmdCancel"));
        QVERIFY(!contentOpen());
        QCOMPARE(folder->Rows("Select * From t_Content_Auto Order By ContentID"), before);
    }

    void closing_the_window_writes_nothing()
    {
        addTemplateRow(t2, "a", "1");
        const auto before = folder->Rows("Select * From t_Content_Auto Order By ContentID");
        frmContent* c = openTemplate(1);
        QVERIFY(Click(c, "cmdClear"));
        c->UnloadForm();
        QVERIFY(!contentOpen());
        QCOMPARE(folder->Rows("Select * From t_Content_Auto Order By ContentID"), before);
    }

    void edited_row_keeps_its_place_in_the_list_and_after_the_save()
    {
        addTemplateRow(t2, "a", "1");
        addTemplateRow(t2, "b", "2");
        addTemplateRow(t2, "c", "3");
        frmContent* c = openTemplate(1);
        DoubleClickRow(c->lsvContent, 1);
        QVERIFY(c->cmdEditOK->isEnabled());
        QCOMPARE(c->EditMode, 1);
        QCOMPARE(c->txtCaption->text(), QString("b"));
        QCOMPARE(c->txtContent->text(), QString("2"));
        QVERIFY(TypeInto(c->txtCaption, "bee"));
        QVERIFY(TypeInto(c->txtContent, "two"));
        QVERIFY(Click(c, "cmdEditOK"));
        QCOMPARE(listed(c), QStringList({"a=1", "bee=two", "c=3"}));
        QCOMPARE(stored(t2), QStringList({"a=1", "b=2", "c=3"}));  // only the list changed so far
        QVERIFY(!c->txtCaption->isEnabled());
        QCOMPARE(c->txtCaption->text(), QString());
        QVERIFY(Click(c, "cmdOK"));
        QCOMPARE(stored(t2), QStringList({"a=1", "bee=two", "c=3"}));
    }

    void two_rows_with_the_same_name_are_both_stored()
    {
        frmContent* c = openTemplate(0);
        for (const char* value : {"first", "second"}) {
            QVERIFY(Click(c, "cmdAddNew"));
            QVERIFY(TypeInto(c->txtCaption, "same"));
            QVERIFY(TypeInto(c->txtContent, value));
            QVERIFY(Click(c, "cmdEditOK"));
        }
        QVERIFY(Click(c, "cmdOK"));
        QCOMPARE(stored(t1), QStringList({"same=first", "same=second"}));
        QVERIFY(boxes->messages.isEmpty());
    }

    void adding_starts_with_the_placeholders_selected()
    {
        frmContent* c = openTemplate(0);
        QVERIFY(Click(c, "cmdAddNew"));
        QCOMPARE(c->txtCaption->text(), QString("新增属性"));
        QCOMPARE(c->txtContent->text(), QString("新增值"));
        QCOMPARE(c->txtCaption->selectedText(), QString("新增属性"));
        QCOMPARE(c->txtContent->selectedText(), QString("新增值"));
        QVERIFY(c->txtCaption->hasFocus());
        // The first keystroke replaces the placeholder.
        QTest::keyClicks(c->txtCaption, "area");
        QCOMPARE(c->txtCaption->text(), QString("area"));
        QVERIFY(Click(c, "cmdEditOK"));
        QCOMPARE(listed(c), QStringList({"area=新增值"}));
    }

    void required_name_and_value_keep_the_row_out()
    {
        frmContent* c = openTemplate(0);
        QVERIFY(Click(c, "cmdAddNew"));
        c->txtCaption->clear();
        QVERIFY(Click(c, "cmdEditOK"));
        QCOMPARE(boxes->Texts(), QStringList({"请在\"属性\"中输入值。"}));
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(c->txtCaption));
        QVERIFY(c->cmdEditOK->isEnabled());
        c->txtCaption->setText("n");
        c->txtContent->clear();
        QVERIFY(Click(c, "cmdEditOK"));
        QCOMPARE(boxes->Texts().last(), QString("请在\"值\"中输入值。"));
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(c->txtContent));
        QCOMPARE(c->lsvContent->Model()->Count(), 0);
    }

    void edit_cancel_and_delete_change_only_the_list()
    {
        addTemplateRow(t1, "a", "1");
        addTemplateRow(t1, "b", "2");
        addTemplateRow(t1, "c", "3");
        frmContent* c = openTemplate(0);
        QVERIFY(Click(c, "cmdAddNew"));
        QVERIFY(Click(c, "cmdEditCancel"));
        QCOMPARE(listed(c), QStringList({"a=1", "b=2", "c=3"}));
        QCOMPARE(c->txtCaption->text(), QString());
        ClickRow(c->lsvContent, 1);
        QVERIFY(Click(c, "cmdDelete"));
        QVERIFY(boxes->messages.isEmpty());
        QCOMPARE(listed(c), QStringList({"a=1", "c=3"}));
        QCOMPARE(stored(t1), QStringList({"a=1", "b=2", "c=3"}));
        QVERIFY(Click(c, "cmdOK"));
        QCOMPARE(stored(t1), QStringList({"a=1", "c=3"}));
    }

    void delete_and_edit_on_an_empty_list_do_nothing()
    {
        frmContent* c = openTemplate(0);
        QVERIFY(Click(c, "cmdDelete"));
        QVERIFY(Click(c, "cmdEdit"));
        QVERIFY(!c->cmdEditOK->isEnabled());
        QCOMPARE(c->lsvContent->Model()->Count(), 0);
    }

    void second_type_opened_meanwhile_is_appended_and_becomes_current()
    {
        addTemplateRow(t1, "a1", "1");
        addTemplateRow(t1, "a2", "2");
        addTemplateRow(t2, "b1", "3");
        frmContent* c = openTemplate(0);
        QCOMPARE(listed(c), QStringList({"a1=1", "a2=2"}));
        frmContent* again = openTemplate(1);
        QCOMPARE(again, c);
        QCOMPARE(listed(c), QStringList({"a1=1", "a2=2", "b1=3"}));
        QCOMPARE(c->CurrentTypeID, qint32(t2));
        QVERIFY(Click(c, "cmdOK"));
        QCOMPARE(stored(t2), QStringList({"a1=1", "a2=2", "b1=3"}));
        QCOMPARE(stored(t1), QStringList({"a1=1", "a2=2"}));
    }

    void a_position_without_a_type_keeps_the_current_type()
    {
        addTemplateRow(t2, "b1", "3");
        frmContent* c = openTemplate(1);
        qint16 nowhere = 9;
        c->GetTypeContent(nowhere);
        QCOMPARE(c->CurrentTypeID, qint32(t2));
        // The template of the current type is read once more and appended.
        QCOMPARE(listed(c), QStringList({"b1=3", "b1=3"}));
    }

    void row_order_survives_a_save_and_reopening()
    {
        addTemplateRow(t1, "old", "0");
        frmContent* c = openTemplate(0);
        for (const char* name : {"zeta", "alpha", "mid"}) {
            QVERIFY(Click(c, "cmdAddNew"));
            QVERIFY(TypeInto(c->txtCaption, name));
            QVERIFY(TypeInto(c->txtContent, QString(name).toUpper()));
            QVERIFY(Click(c, "cmdEditOK"));
        }
        ClickRow(c->lsvContent, 0);
        QVERIFY(Click(c, "cmdDelete"));
        QVERIFY(Click(c, "cmdOK"));
        QCOMPARE(stored(t1), QStringList({"zeta=ZETA", "alpha=ALPHA", "mid=MID"}));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        frmContent* reopened = openTemplate(0);
        QVERIFY(reopened);
        QCOMPARE(listed(reopened), QStringList({"zeta=ZETA", "alpha=ALPHA", "mid=MID"}));
    }

    void typing_in_the_middle_selects_the_rest_which_the_next_key_replaces()
    {
        frmContent* c = openTemplate(0);
        QVERIFY(Click(c, "cmdAddNew"));
        QLineEdit* box = c->txtCaption;
        QTest::keyClicks(box, "abcdef");  // replaces the selected placeholder, then types at the end
        QCOMPARE(box->text(), QString("abcdef"));
        QCOMPARE(box->selectedText(), QString());
        box->setCursorPosition(2);
        QTest::keyClicks(box, "X");
        QCOMPARE(box->text(), QString("abXcdef"));
        QCOMPARE(box->selectedText(), QString("cdef"));
        QTest::keyClicks(box, "Y");
        QCOMPARE(box->text(), QString("abXY"));
        QCOMPARE(box->selectedText(), QString());
        QTest::keyClicks(box, "Z");
        QCOMPARE(box->text(), QString("abXYZ"));
    }

    void the_value_box_follows_the_same_rule()
    {
        addTemplateRow(t1, "k", "value");
        frmContent* c = openTemplate(0);
        QVERIFY(Click(c, "cmdEdit"));
        QCOMPARE(c->txtContent->selectedText(), QString("value"));
        c->txtContent->setFocus();
        c->txtContent->setCursorPosition(1);
        QTest::keyClick(c->txtContent, Qt::Key_Backspace);
        QCOMPARE(c->txtContent->text(), QString("alue"));
        QCOMPARE(c->txtContent->selectedText(), QString("alue"));
    }
};

QTEST_MAIN(tst_content_template)
#include "tst_content_template.moc"
