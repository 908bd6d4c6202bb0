-- The history of every unit's status on House.db, kept by triggers so that no path can change a
-- status without leaving a row: the board, the wizard, a price-list import, a deal step, an
-- expiry, or a program that knows nothing of deals. A status row is a t_Content row whose caption
-- is the StatusCaption setting (状态 when unset).
--
-- tavrelo_context(name) is a function the data layer registers on every connection, like the
-- text collation (core/db/ChangeContext.h): 'path', 'customer', 'deal' and 'reason' as the writer
-- set them for its transaction (NULL when it set none), 'user' (the operating-system account),
-- 'machine' (the host name), 'now' (the program's clock, UTC) and 'txn' (a number that names the
-- connection's current transaction). A program that has not registered it cannot write status
-- rows at all, as it cannot write text without the collation.
--
-- A status row deleted and written again in one transaction (the wizard replaces a house's rows
-- whole) is one change, or none when the value came back: the insert finishes the row the delete
-- began, or takes it back.

CREATE TRIGGER tr_Content_History_Insert AFTER INSERT ON t_Content
WHEN NEW.Caption = ifnull(nullif((SELECT Value FROM t_Setting WHERE Name = 'StatusCaption'), ''), '状态')
BEGIN
    INSERT INTO t_History (HouseID, ContentID, ChangedAt, ChangedBy, Machine, OldValue, NewValue,
                           CustomerID, DealID, Reason, Path, TxID)
    SELECT NEW.HouseID, NEW.ContentID, tavrelo_context('now'), tavrelo_context('user'),
           tavrelo_context('machine'), NULL, NEW.Content,
           coalesce(tavrelo_context('customer'),
                    (SELECT CustomerID FROM t_Deal WHERE DealID = tavrelo_context('deal')),
                    (SELECT CustomerID FROM t_Deal WHERE HouseID = NEW.HouseID AND Active = 1)),
           coalesce(tavrelo_context('deal'),
                    (SELECT DealID FROM t_Deal WHERE HouseID = NEW.HouseID AND Active = 1)),
           tavrelo_context('reason'), ifnull(tavrelo_context('path'), 'sql'), tavrelo_context('txn')
    WHERE NEW.Content IS NOT NULL
      AND NOT EXISTS (SELECT 1 FROM t_History
                      WHERE HistoryID = (SELECT max(HistoryID) FROM t_History WHERE HouseID = NEW.HouseID)
                        AND TxID = tavrelo_context('txn') AND NewValue IS NULL);
    UPDATE t_History SET NewValue = NEW.Content, ContentID = NEW.ContentID
    WHERE HistoryID = (SELECT max(HistoryID) FROM t_History WHERE HouseID = NEW.HouseID)
      AND TxID = tavrelo_context('txn') AND NewValue IS NULL
      AND OldValue IS NOT NEW.Content COLLATE BINARY;
    DELETE FROM t_History
    WHERE HistoryID = (SELECT max(HistoryID) FROM t_History WHERE HouseID = NEW.HouseID)
      AND TxID = tavrelo_context('txn') AND NewValue IS NULL
      AND OldValue = NEW.Content COLLATE BINARY;
END;

CREATE TRIGGER tr_Content_History_Update AFTER UPDATE OF Caption, Content ON t_Content
WHEN (CASE WHEN OLD.Caption = ifnull(nullif((SELECT Value FROM t_Setting WHERE Name = 'StatusCaption'), ''), '状态')
           THEN OLD.Content END)
     IS NOT
     (CASE WHEN NEW.Caption = ifnull(nullif((SELECT Value FROM t_Setting WHERE Name = 'StatusCaption'), ''), '状态')
           THEN NEW.Content END) COLLATE BINARY
BEGIN
    INSERT INTO t_History (HouseID, ContentID, ChangedAt, ChangedBy, Machine, OldValue, NewValue,
                           CustomerID, DealID, Reason, Path, TxID)
    SELECT NEW.HouseID, NEW.ContentID, tavrelo_context('now'), tavrelo_context('user'),
           tavrelo_context('machine'),
           CASE WHEN OLD.Caption = ifnull(nullif((SELECT Value FROM t_Setting WHERE Name = 'StatusCaption'), ''), '状态')
                THEN OLD.Content END,
           CASE WHEN NEW.Caption = ifnull(nullif((SELECT Value FROM t_Setting WHERE Name = 'StatusCaption'), ''), '状态')
                THEN NEW.Content END,
           coalesce(tavrelo_context('customer'),
                    (SELECT CustomerID FROM t_Deal WHERE DealID = tavrelo_context('deal')),
                    (SELECT CustomerID FROM t_Deal WHERE HouseID = NEW.HouseID AND Active = 1)),
           coalesce(tavrelo_context('deal'),
                    (SELECT DealID FROM t_Deal WHERE HouseID = NEW.HouseID AND Active = 1)),
           tavrelo_context('reason'), ifnull(tavrelo_context('path'), 'sql'), tavrelo_context('txn');
END;

CREATE TRIGGER tr_Content_History_Delete AFTER DELETE ON t_Content
WHEN OLD.Caption = ifnull(nullif((SELECT Value FROM t_Setting WHERE Name = 'StatusCaption'), ''), '状态')
     AND OLD.Content IS NOT NULL
BEGIN
    INSERT INTO t_History (HouseID, ContentID, ChangedAt, ChangedBy, Machine, OldValue, NewValue,
                           CustomerID, DealID, Reason, Path, TxID)
    SELECT OLD.HouseID, OLD.ContentID, tavrelo_context('now'), tavrelo_context('user'),
           tavrelo_context('machine'), OLD.Content, NULL,
           coalesce(tavrelo_context('customer'),
                    (SELECT CustomerID FROM t_Deal WHERE DealID = tavrelo_context('deal')),
                    (SELECT CustomerID FROM t_Deal WHERE HouseID = OLD.HouseID AND Active = 1)),
           coalesce(tavrelo_context('deal'),
                    (SELECT DealID FROM t_Deal WHERE HouseID = OLD.HouseID AND Active = 1)),
           tavrelo_context('reason'), ifnull(tavrelo_context('path'), 'sql'), tavrelo_context('txn');
END;

-- An expired hold gives the unit back the status it had before (or no status row, when it had
-- none), as long as the unit still shows the hold word: one UPDATE of the deals past their end
-- releases them all (deals::ReleaseExpired). Before the deal row changes, so the history row still
-- finds the deal open and names its customer.
CREATE TRIGGER tr_Deal_Expire BEFORE UPDATE OF Stage ON t_Deal
WHEN OLD.Active = 1 AND OLD.Stage = 'hold' AND NEW.Stage = 'expired'
BEGIN
    UPDATE t_Content SET Content = OLD.PriorStatus
    WHERE OLD.PriorStatus IS NOT NULL AND HouseID = OLD.HouseID
      AND Caption = ifnull(nullif((SELECT Value FROM t_Setting WHERE Name = 'StatusCaption'), ''), '状态')
      AND Content = ifnull(nullif((SELECT Value FROM t_Setting WHERE Name = 'WordHold'), ''), '预留');
    DELETE FROM t_Content
    WHERE OLD.PriorStatus IS NULL AND HouseID = OLD.HouseID
      AND Caption = ifnull(nullif((SELECT Value FROM t_Setting WHERE Name = 'StatusCaption'), ''), '状态')
      AND Content = ifnull(nullif((SELECT Value FROM t_Setting WHERE Name = 'WordHold'), ''), '预留');
END;
