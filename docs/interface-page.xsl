<?xml version="1.0"?>
<!-- Adds to the DocBook that gdbus-codegen makes of an interface what a manual page needs besides: section,
     version, date, and where to read on. Parameters: version, date. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:param name="version"/>
  <xsl:param name="date"/>
  <xsl:variable name="interface" select="/refentry/refnamediv/refname"/>

  <xsl:template match="@*|node()">
    <xsl:copy><xsl:apply-templates select="@*|node()"/></xsl:copy>
  </xsl:template>

  <xsl:template match="refentry">
    <refentry>
      <refentryinfo>
        <corpauthor>Orvane engineers</corpauthor>
        <date><xsl:value-of select="$date"/></date>
      </refentryinfo>
      <xsl:apply-templates/>
      <refsect1>
        <title>See Also</title>
        <para>
          <xsl:call-template name="others"/>
          <xsl:text>busctl(1), orvanectl(1), orvane-task(5), orvane(8)</xsl:text>
        </para>
        <para><filename>/usr/share/doc/orvane/docs/dbus-api.md</filename> has a call of each method to copy.</para>
      </refsect1>
    </refentry>
  </xsl:template>

  <xsl:template match="refmeta">
    <refmeta>
      <refentrytitle><xsl:value-of select="$interface"/></refentrytitle>
      <manvolnum>5</manvolnum>
      <refmiscinfo class="source">Orvane</refmiscinfo>
      <refmiscinfo class="version"><xsl:value-of select="$version"/></refmiscinfo>
      <refmiscinfo class="manual">D-Bus interfaces</refmiscinfo>
    </refmeta>
  </xsl:template>

  <!-- Arguments ahead of the text, which is about them. -->
  <xsl:template match="refsect2">
    <refsect2>
      <xsl:apply-templates select="title|programlisting|variablelist"/>
      <xsl:apply-templates select="para|warning"/>
    </refsect2>
  </xsl:template>
  <!-- Quotation marks would end the heading. -->
  <xsl:template match="refsect2/title">
    <title><xsl:value-of select="translate(., '&quot;', '')"/></title>
  </xsl:template>

  <!-- These are for indices and for jumps within a book. -->
  <xsl:template match="indexterm|@id"/>
  <xsl:template match="link"><xsl:apply-templates/></xsl:template>

  <!-- gdbus-codegen invents a name for an argument that has none, and has no text for it. -->
  <xsl:template match="text()[contains(., 'unnamed_arg')]">
    <xsl:value-of select="substring-before(., 'unnamed_arg')"/>
    <xsl:text>unnamed</xsl:text>
    <xsl:value-of select="substring(substring-after(., 'unnamed_arg'), 2)"/>
  </xsl:template>
  <xsl:template match="varlistentry[starts-with(term//parameter, 'unnamed_arg')]"/>

  <xsl:template name="others">
    <xsl:if test="$interface != 'org.zarn.am.Autostart'">org.zarn.am.Autostart(5), </xsl:if>
    <xsl:if test="$interface != 'org.zarn.Orvane.TaskInvoker1'">org.zarn.Orvane.TaskInvoker1(5), </xsl:if>
    <xsl:if test="$interface != 'org.zarn.Orvane.TaskInvokerSession1'">org.zarn.Orvane.TaskInvokerSession1(5), </xsl:if>
    <xsl:if test="$interface != 'org.zarn.Teller.Hooks'">org.zarn.Teller.Hooks(5), </xsl:if>
  </xsl:template>
</xsl:stylesheet>
