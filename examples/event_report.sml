S6F11W
{
  <u4 1>                 * DATAID
  <u4 3001>              * CEID: process completed
  {
    {
      <u4 100>           * RPTID
      {
        <a 'LOT-0042'>   * lot
        <u2 17>          * wafer
        <f4 351.5>       * temperature
        <u4 12 13 11 12> * pressures
        <bool true>      * vacuum reached
      }
    }
  }
}
