"""Type stubs of zulquery (written by python/stubgen.py)."""

from datetime import datetime
from os import PathLike
from typing import Any, Dict, Iterator, List, Mapping, Optional, Sequence, Tuple, Union

__version__: str

SecType = Union[str, int]

class Error(Exception):
    kind: str
    code: int

class ConnectError(Error, OSError): ...

class LogonRefused(Error):
    @property
    def result(self) -> int: ...

class Refused(Error):
    @property
    def error_id(self) -> int: ...

class ConnectionLost(Error): ...
class Timeout(Error, TimeoutError): ...
class NotOffered(Error): ...

class Rejected(Error):
    @property
    def result(self) -> int: ...

class Record:
    @property
    def kind(self) -> str: ...
    @property
    def _fields(self) -> Tuple[str, ...]: ...
    def to_dict(self) -> Dict[str, Any]: ...
    def __getattr__(self, name: str) -> Any: ...

class QueryAccountOrder(Record):
    Userid: int
    Timestamp: Optional[datetime]
    ClientOrderToken: int
    SideType: int
    Quantity: int
    InstrumentType: int
    Symbol: str
    Price: float
    Account: str
    ExchengeID: int
    ForceCloseReason: int
    InternalOrderId: int
    OrderStatus: int
    CloseTime: Optional[datetime]
    FilledQty: int
    MinQty: int
    MarketOrderId: str
    HedgeFlag: int
    CustomField: int
    IOC: int
    SymbolFlag: int

class QueryAccountArbiOrder(Record):
    Userid: int
    Timestamp: Optional[datetime]
    ClientOrderToken: int
    SideType: int
    Quantity: int
    Symbol: str
    Price: float
    Account: str
    ExchengeID: int
    InternalOrderId: int
    OrderStatus: int
    FilledQty: int
    CloseTime: Optional[datetime]
    MinQty: int
    MarketOrderId: str
    HedgeFlag: int
    CustomField: int
    IOC: int
    OrderType: int

class QueryOrderExecution(Record):
    Userid: int
    Timestamp: Optional[datetime]
    ClientOrderToken: int
    InternalOrderId: int
    ExecutedQuantity: int
    ExecutionPrice: float
    ExecutionID: int
    MarketExecID: str
    LegNo: int
    OrderType: int

class QueryOrderExecutionEx(Record):
    Userid: int
    Timestamp: Optional[datetime]
    ClientOrderToken: int
    InternalOrderId: int
    ExecutedQuantity: int
    ExecutionPrice: float
    ExecutionID: int
    MarketExecID: str
    LegNo: int
    OrderType: int
    Symbol: str
    SideType: int

class QueryAccountQuote(Record):
    Userid: int
    Symbol: str
    ExchengeID: int
    ClientQuoteToken: int
    InternalQuoteId: int
    BidInternalQuoteId: int
    AskInternalQuoteId: int
    MarketQuoteId: str
    BidOrderSysId: str
    AskOrderSysId: str
    BidQty: int
    AskQty: int
    BidPrice: float
    AskPrice: float
    BidHedgeFlag: int
    AskHedgeFlag: int
    BidIsOffset: int
    AskIsOffset: int
    BidState: int
    AskState: int
    BidFillQty: int
    AskFillQty: int
    CustomField: int
    IOC: int
    ReqForQuoteID: str

class AccountInfo(Record):
    Account: str
    Previlege: int
    InitialBp: float
    AvailableBp: float
    Margin: float
    FrozenMargin: float
    CommissionFee: float
    FrozenCommission: float
    AccountIdx: int

class AccountPosition(Record):
    ActId: str
    Symbol: str
    PosiDirection: int
    InitOvnQty: int
    OvnQty: int
    FrozenOvnQty: int
    TodayQty: int
    FrozenTodayQty: int
    OvnMargin: float
    TodayMargin: float
    PositionCost: float
    HedgeFlag: int

class AccountComboPosition(Record):
    Account: str
    ComboType: int
    ComboSymbol: str
    FirstSymbol: str
    FirstDirection: int
    SecondSymbol: str
    SecondDirection: int
    Qty: int
    InitQty: int
    ComboMargin: float
    ReturnMargin: float
    HedgeFlag: int

class AccountComboRule(Record):
    RuleProdType: int
    Trading_date: str
    ComboType: int
    Priority: int
    HedgeFlag: int
    ComboMargin: float
    InstrId: int
    ComboSymbol: str
    FirstSymbol: str
    FirstDirection: int
    FirstRegion: float
    SecondSymbol: str
    SecondDirection: int
    SecondRegion: float

class AccountOptionPosition(Record):
    ActId: str
    Symbol: str
    PosiDirection: int
    UnderlyingSymbol: str
    CallPut: str
    StrikePrice: float
    ExpireDate: int
    InitOvnQty: int
    CurOvnQty: int
    CurTodayQty: int
    CoverOvnLockedQty: int
    CoverTodayLockedQty: int
    ExecPendingQty: int
    ExecAppliedQty: int
    CxlExecPendingQty: int
    LiquidPl: float
    AvgPrice: float
    TotalCommissionFee: float
    HedgeFlag: int

class AccountBP(Record):
    Account: str
    InitialBp: float
    AvailableBp: float
    Margin: float
    FrozenMargin: float
    CommissionFee: float
    FrozenCommission: float
    OvnInitMargin: float
    TotalLiquidPL: float
    TotalMarketPL: float
    AccountIdx: int

class AccountBPDetail(Record):
    Account: str
    InitialEquity: float
    InitialBp: float
    OvnInitMargin: float
    AvailableBp: float
    Margin: float
    FrozenMargin: float
    CommissionFee: float
    FrozenCommission: float
    OptPremiumBalance: float
    OptFrozenPremium: float
    CommDeclarationFee: float
    StepDeclarationFee: float
    CashInTotal: float
    CashOutTotal: float
    TotalLiquidPL: float
    TotalMarketPL: float
    RiskRate: float
    PushMode: int
    AmountCount: int
    AccountIdx: int

class AccountCashInout(Record):
    Account: str
    AvailableBp: float
    CashInOut: float
    CashInTotal: float
    CashOutTotal: float

class SymbolField(Record):
    SecType: int
    Symbol: str
    SymbolName: str
    ExchangeID: int
    ProdID: str
    DeliveryYear: int
    DeliveryMonth: int
    MaxMarketOrderVolume: int
    MinMarketOrderVolume: int
    MaxLimitOrderVolume: int
    MinLimitOrderVolume: int
    VolumeMultiple: int
    PriceTick: float
    CreateDate: int
    OpenDate: int
    ExpireDate: int
    StartDelivDate: int
    EndDelivDate: int
    InstLifePhase: int
    IsTrading: int
    SymbolIdx: int
    UnderlyingSymbol: str
    StrikePrice: float
    CallPut: str

class AccountMargin(Record):
    HedgeFlag: int
    Symbol: str
    ExchangeID: int
    ProdID: str
    LongMarginRatio: float
    ShortMarginRatio: float

class AccountFee(Record):
    HedgeFlag: int
    Symbol: str
    ExchangeID: int
    ProdID: str
    OpenRatioByMoney: float
    OpenRatioByVolume: float
    CloseYesterdayRatioByMoney: float
    CloseYesterdayRatioByVolume: float
    CloseTodayRatioByMoney: float
    CloseTodayRatioByVolume: float
    PositionDir: int

class AccountRiskData(Record):
    account_id: str
    user_id: int
    last_update_time: Optional[datetime]
    broker_margin: float
    exchange_margin: float
    total_fee: float
    total_bp: float
    # 1_limit_val: int
    # 2_limit_val: float
    # 5_limit_val: float
    # 6_limit_val: float
    # 8_limit_val: float
    # 9_limit_val: int
    # 10_limit_val: int
    # 11_limit_val: int
    # 11_accumulate_val: int
    # 12_limit_val: int
    # 12_accumulate_val: int
    # 13_limit_val: float
    # 13_accumulate_val: float
    # 14_limit_val_1: int
    # 14_time_val: int
    # 14_limit_val_2: int
    # 14_accumulate_val: int
    # 15_limit_val_1: int
    # 15_time_val: int
    # 15_limit_val_2: int
    # 15_accumulate_val: int
    # 17_limit_val: int
    # 17_accumulate_val: int
    # 18_limit_val: int
    # 18_accumulate_val: int
    # 19_limit_val: int
    # 19_accumulate_val: int
    # 20_limit_val: float
    # 20_accumulate_val: float
    # 21_limit_val: float
    # 21_accumulate_val: float
    # 22_limit_val: int
    # 22_accumulate_val: int
    # 24_limit_val_1: int
    # 24_time_val: int
    # 24_limit_val_2: int
    # 24_accumulate_val: int
    # 25_limit_val_1: int
    # 25_time_val: int
    # 25_limit_val_2: int
    # 25_accumulate_val: int
    # 26_limit_val_1: int
    # 26_accumulate_val: int
    # 26_limit_val_2: int
    # 27_limit_val: int
    # 27_accumulate_val: int
    # 28_limit_val: float
    # 28_accumulate_val: float
    # 29_limit_val: int
    # 29_accumulate_val: int
    # 30_limit_val: float
    # 30_accumulate_val: float
    # 31_limit_val: int
    # 31_accumulate_val: int
    # 32_limit_val: int
    # 32_accumulate_val: int
    # 33_limit_val: int
    # 33_accumulate_val: int
    # 34_limit_val_2: int
    # 34_time_val: int
    # 34_limit_val_1: int
    # 34_accumulate_val: int
    # 35_limit_val_2: int
    # 35_time_val: int
    # 35_limit_val_1: int
    # 35_accumulate_val: int
    # 36_limit_val_1: int
    # 36_time_val: int
    # 36_limit_val_2: int
    # 36_accumulate_val: int
    # 37_limit_val_1: int
    # 37_time_val: int
    # 37_limit_val_2: int
    # 37_accumulate_val: int
    # 38_limit_val: float
    # 38_accumulate_val: float
    # 39_limit_val: float
    # 39_accumulate_val: float
    # 40_limit_val: float
    # 40_accumulate_val: float
    # 41_limit_val: int
    # 41_accumulate_val: int
    # 42_limit_val: int
    # 42_accumulate_val: int
    # 43_limit_val: float
    # 43_accumulate_val: float
    # 44_limit_val: float
    # 44_accumulate_val: float
    # 54_limit_val: int
    # 54_accumulate_val: int
    # 55_limit_val: float
    # 55_accumulate_val: float
    # 56_limit_val: int
    # 56_accumulate_val: int
    # 57_limit_val: int
    # 57_accumulate_val: int
    # 58_limit_val: float
    # 58_accumulate_val: float
    # 59_limit_val: float
    # 59_accumulate_val: float
    # 60_limit_val: float
    # 60_accumulate_val: float
    # 61_limit_val: float
    # 61_accumulate_val: float
    # 62_limit_val_1: int
    # 62_time_val: int
    # 62_limit_val_2: int
    # 62_accumulate_val: int
    # 63_limit_val_1: int
    # 63_time_val: int
    # 63_limit_val_2: int
    # 63_accumulate_val: int

class AccountSymbolRiskData(Record):
    user_id: int
    account_id: str
    symbol: str
    last_update_time: Optional[datetime]
    onp_short_pos_settle_price: float
    onp_long_pos_settle_price: float
    onp_long_pos_quantity: int
    onp_long_pos_margin: float
    open_fee_rate_2: float
    open_fee_rate_1: float
    onp_short_pos_quantity: int
    onp_short_pos_margin: float
    broker_margin_rate: float
    fee_caculate_mode: int
    cover_fee_rate_2: float
    cover_fee_rate_1: float
    fee: float
    onp_short_pos_qty: int
    today_short_pos_qty: int
    onp_long_pos_qty: int
    today_long_pos_qty: int
    snpl: float
    bnpl: float
    # 3_limit_val: float
    # 4_limit_val: float
    # 7_limit_val: float
    # 23_limit_val: int
    # 23_accumulate_val: int
    # 45_limit_val: float
    # 45_accumulate_val: float
    # 46_limit_val: int
    # 46_accumulate_val: float
    # 47_limit_val: float
    # 47_accumulate_val: float
    # 48_limit_val: float
    # 48_accumulate_val: float
    # 49_limit_val: int
    # 49_accumulate_val: float
    # 50_limit_val: float
    # 50_accumulate_val: float
    # 51_limit_val: float
    # 51_accumulate_val: float
    # 52_limit_val: float
    # 52_accumulate_val: float
    # 53_limit_val: float
    # 53_accumulate_val: float
    bmpl: float
    long_pos_quantity: int
    long_pos_total_val: float
    smpl: float
    short_pos_quantity: int
    short_pos_total_val: float

class Session:
    def __init__(self, host: str, port: int, *, timeout: float = ..., log_dir: Optional[Union[str, PathLike]] = ...,
                 logger: bool = ..., auto_reconnect: bool = ...) -> None: ...
    def logon(self, user: str, password: str) -> None: ...
    def close(self) -> None: ...
    def __enter__(self) -> "Session": ...
    def __exit__(self, *exc: Any) -> bool: ...
    def watch(self, timeout: Optional[float] = ..., count: Optional[int] = ...) -> Iterator[Union[AccountBP, AccountCashInout]]: ...
    def accounts(self) -> List[AccountInfo]: ...
    def bp(self, account: str) -> List[AccountBP]: ...
    def bp_detail(self, account: str) -> List[AccountBPDetail]: ...
    def cash(self, account: str) -> List[AccountCashInout]: ...
    def positions(self, account: str, sec_type: SecType = ...) -> List[Union[AccountPosition, AccountOptionPosition]]: ...
    def option_positions(self, account: str) -> List[AccountOptionPosition]: ...
    def combo_positions(self, account: str) -> List[AccountComboPosition]: ...
    def margin(self, account: str) -> List[AccountMargin]: ...
    def fees(self, account: str, sec_type: SecType = ...) -> List[AccountFee]: ...
    def orders(self, account: str, sec_type: SecType = ...) -> List[QueryAccountOrder]: ...
    def arbi_orders(self, account: str) -> List[QueryAccountArbiOrder]: ...
    def executions(self, account: str, sec_type: SecType = ..., rewind: int = ...) -> List[Union[QueryOrderExecution, QueryOrderExecutionEx]]: ...
    def quotes(self, account: str, sec_type: SecType = ...) -> List[QueryAccountQuote]: ...
    def symbols(self, sec_type: SecType = ...) -> List[SymbolField]: ...
    def combo_rules(self, combo_type: int = ..., hedge_flag: int = ...) -> List[AccountComboRule]: ...
    def risk(self, account: str) -> List[AccountRiskData]: ...
    def symbol_risk(self, account: str, symbol: str = ...) -> List[AccountSymbolRiskData]: ...
    def change_password(self, old_password: str, new_password: str) -> None: ...

def connect(host: str, port: int, *, user: str, password: str, timeout: float = ...,
            log_dir: Optional[Union[str, PathLike]] = ..., logger: bool = ...,
            auto_reconnect: bool = ...) -> Session: ...

class Simulator:
    def __init__(self, *, port: int = ..., hv27: bool = ..., user_id: Optional[int] = ...,
                 refuse_logon: Optional[int] = ..., version_flag: Optional[int] = ...,
                 password_md5: Optional[str] = ..., refuse: Optional[Mapping[int, int]] = ...,
                 exec_ex: bool = ..., records: Optional[int] = ...,
                 data: Optional[Union[str, PathLike]] = ..., push_interval_ms: Optional[int] = ...,
                 write_mode: Optional[str] = ..., pause_ms: Optional[int] = ...,
                 drop_after_bytes: Optional[int] = ..., drop_after_messages: Optional[int] = ...,
                 drop_on_request: Optional[int] = ..., close_on_accept: bool = ...,
                 hold_connects: bool = ..., stop_reading: bool = ...,
                 close_after_logon: bool = ..., flood_rate: Optional[int] = ...,
                 no_answer: Sequence[int] = ...) -> None: ...
    def start(self) -> "Simulator": ...
    def stop(self) -> None: ...
    def __enter__(self) -> "Simulator": ...
    def __exit__(self, *exc: Any) -> bool: ...
    @property
    def port(self) -> int: ...
    def push_bp_report(self, account: str = ...) -> int: ...
    def push_cash_notice(self, account: str = ...) -> int: ...
    def drop_connections(self) -> None: ...
    def requests(self) -> List[Tuple[int, str, Dict[str, str]]]: ...

def to_frame(records: Sequence[Record]) -> Any: ...
