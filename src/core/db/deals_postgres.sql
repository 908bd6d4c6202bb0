-- The history of every unit's status on the server, and the release of expired holds. Run by the
-- administrator who makes or upgrades the catalogue, with the search path set to the catalogue's
-- schema first: each function keeps that path (SET search_path FROM CURRENT), so nobody can slip a
-- table or function of the same name in front of it. `tavrelo-server init` then hands the
-- functions to the catalogue's owner role; the two that write history and release holds run with
-- its rights (SECURITY DEFINER), so a PC's login can read the history but never write it.
--
-- What a writer set for its transaction (db::SetChangeContext) comes in transaction-local
-- settings: tavrelo.path, tavrelo.customer, tavrelo.deal, tavrelo.reason; the PC's host name in
-- the session's tavrelo.machine. A statement typed at the server sets none and is recorded with
-- path 'sql'. Who acted is always session_user, set here, never by the PC.

CREATE OR REPLACE FUNCTION tavrelo_history() RETURNS trigger LANGUAGE plpgsql
SECURITY DEFINER SET search_path FROM CURRENT AS $$
DECLARE
    cap text := coalesce(nullif((SELECT Value FROM t_Setting WHERE Name = 'StatusCaption'), ''), '状态');
    tx bigint := txid_current();
    house integer;
    content integer;
    old_v text;
    new_v text;
    deal integer := nullif(current_setting('tavrelo.deal', true), '')::integer;
    customer integer := nullif(current_setting('tavrelo.customer', true), '')::integer;
    last_id integer;
    last_old text;
    open_deal integer;
    open_customer integer;
BEGIN
    IF TG_OP = 'DELETE' THEN
        house := OLD.HouseID;
        content := OLD.ContentID;
    ELSE
        house := NEW.HouseID;
        content := NEW.ContentID;
        IF NEW.Caption = cap THEN
            new_v := NEW.Content;
        END IF;
    END IF;
    IF TG_OP <> 'INSERT' THEN
        IF OLD.Caption = cap THEN
            old_v := OLD.Content;
        END IF;
    END IF;
    IF old_v IS NOT DISTINCT FROM new_v THEN
        RETURN NULL;
    END IF;
    PERFORM pg_notify('tavrelo_changes', house::text);
    -- A status row deleted and written again in one transaction (the wizard replaces a house's
    -- rows whole) is one change, or none when the value came back.
    IF old_v IS NULL THEN
        SELECT HistoryID, OldValue INTO last_id, last_old FROM t_History
        WHERE HouseID = house AND TxID = tx AND NewValue IS NULL
          AND HistoryID = (SELECT max(HistoryID) FROM t_History WHERE HouseID = house);
        IF last_id IS NOT NULL THEN
            IF last_old = new_v THEN
                DELETE FROM t_History WHERE HistoryID = last_id;
            ELSE
                UPDATE t_History SET NewValue = new_v, ContentID = content WHERE HistoryID = last_id;
            END IF;
            RETURN NULL;
        END IF;
    END IF;
    IF customer IS NULL AND deal IS NOT NULL THEN
        SELECT CustomerID INTO customer FROM t_Deal WHERE DealID = deal;
    END IF;
    IF deal IS NULL THEN
        SELECT DealID, CustomerID INTO open_deal, open_customer FROM t_Deal
        WHERE HouseID = house AND Active = 1;
        deal := open_deal;
        customer := coalesce(customer, open_customer);
    END IF;
    INSERT INTO t_History (HouseID, ContentID, ChangedAt, ChangedBy, Machine, OldValue, NewValue,
                           CustomerID, DealID, Reason, Path, TxID)
    VALUES (house, content, now(), session_user,
            coalesce(nullif(current_setting('tavrelo.machine', true), ''), host(inet_client_addr()), 'local'),
            old_v, new_v, customer, deal, nullif(current_setting('tavrelo.reason', true), ''),
            coalesce(nullif(current_setting('tavrelo.path', true), ''), 'sql'), tx);
    RETURN NULL;
END $$;

CREATE TRIGGER t_content_history AFTER INSERT OR DELETE OR UPDATE OF Caption, Content ON t_Content
FOR EACH ROW EXECUTE FUNCTION tavrelo_history();

-- Every PC that listens learns which unit's deal changed when the writer commits.
CREATE OR REPLACE FUNCTION tavrelo_deal_notify() RETURNS trigger LANGUAGE plpgsql
SET search_path FROM CURRENT AS $$
BEGIN
    IF TG_OP = 'DELETE' THEN
        PERFORM pg_notify('tavrelo_changes', OLD.HouseID::text);
    ELSE
        PERFORM pg_notify('tavrelo_changes', NEW.HouseID::text);
    END IF;
    RETURN NULL;
END $$;

CREATE TRIGGER t_deal_notify AFTER INSERT OR UPDATE OR DELETE ON t_Deal
FOR EACH ROW EXECUTE FUNCTION tavrelo_deal_notify();

-- An expired hold gives the unit back the status it had before (or no status row, when it had
-- none), as long as the unit still shows the hold word. Before the deal row changes, so the
-- history row still finds the deal open and names its customer.
CREATE OR REPLACE FUNCTION tavrelo_deal_expire() RETURNS trigger LANGUAGE plpgsql
SET search_path FROM CURRENT AS $$
DECLARE
    cap text := coalesce(nullif((SELECT Value FROM t_Setting WHERE Name = 'StatusCaption'), ''), '状态');
    word text := coalesce(nullif((SELECT Value FROM t_Setting WHERE Name = 'WordHold'), ''), '预留');
BEGIN
    IF OLD.PriorStatus IS NULL THEN
        DELETE FROM t_Content WHERE HouseID = OLD.HouseID AND Caption = cap AND Content = word;
    ELSE
        UPDATE t_Content SET Content = OLD.PriorStatus
        WHERE HouseID = OLD.HouseID AND Caption = cap AND Content = word;
    END IF;
    RETURN NEW;
END $$;

CREATE TRIGGER t_deal_expire BEFORE UPDATE OF Stage ON t_Deal FOR EACH ROW
WHEN (OLD.Active = 1 AND OLD.Stage = 'hold' AND NEW.Stage = 'expired')
EXECUTE FUNCTION tavrelo_deal_expire();

-- Releases every hold past its end in one statement; callable by every login of the catalogue (a
-- showroom's board releases them too). A login that may not change deals cannot move the clock
-- forward: for it the release stops at the server's own time.
CREATE OR REPLACE FUNCTION tavrelo_release_expired(at timestamptz) RETURNS integer LANGUAGE plpgsql
SECURITY DEFINER SET search_path FROM CURRENT AS $$
DECLARE
    released integer;
    was_path text := coalesce(current_setting('tavrelo.path', true), '');
    was_reason text := coalesce(current_setting('tavrelo.reason', true), '');
    was_deal text := coalesce(current_setting('tavrelo.deal', true), '');
    was_customer text := coalesce(current_setting('tavrelo.customer', true), '');
BEGIN
    IF at IS NULL OR NOT has_table_privilege(session_user, 't_deal', 'UPDATE') THEN
        at := least(coalesce(at, now()), now());
    END IF;
    PERFORM set_config('tavrelo.path', 'expire', true), set_config('tavrelo.reason', '到期释放', true),
            set_config('tavrelo.deal', '', true), set_config('tavrelo.customer', '', true);
    UPDATE t_Deal SET Active = NULL, Stage = 'expired', ClosedAt = at, Reason = '到期释放'
    WHERE Active = 1 AND Stage = 'hold' AND HoldEnd <= at;
    GET DIAGNOSTICS released = ROW_COUNT;
    -- The caller's own context holds again for what it writes next in its transaction.
    PERFORM set_config('tavrelo.path', was_path, true), set_config('tavrelo.reason', was_reason, true),
            set_config('tavrelo.deal', was_deal, true), set_config('tavrelo.customer', was_customer, true);
    RETURN released;
END $$;

REVOKE ALL ON FUNCTION tavrelo_history() FROM PUBLIC;
REVOKE ALL ON FUNCTION tavrelo_deal_notify() FROM PUBLIC;
REVOKE ALL ON FUNCTION tavrelo_deal_expire() FROM PUBLIC;
REVOKE ALL ON FUNCTION tavrelo_release_expired(timestamptz) FROM PUBLIC;
